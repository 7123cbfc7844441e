#include "FaultyVfs.h"

#include <sqlite3.h>

#include <atomic>
#include <cstring>
#include <stdexcept>

namespace {

struct FaultState {
    std::atomic<bool> armed{false};
    std::atomic<int> count{0};
    std::atomic<int> failAt{0};
    std::atomic<bool> fired{false};
    std::atomic<int> errorCode{SQLITE_FULL};
};

FaultState g_state;
sqlite3_vfs* g_real = nullptr;
sqlite3_vfs g_vfs;
sqlite3_io_methods g_methods;

// The wrapper file: our header, then the real layer's file in the space after it.
struct FaultyFile {
    sqlite3_file base;
    sqlite3_file* real;
};

sqlite3_file* realFile(sqlite3_file* file) { return reinterpret_cast<FaultyFile*>(file)->real; }

// True when this operation is the one to fail.
bool failNow(int& code, int ioErrorCode)
{
    if (!g_state.armed) return false;
    const int n = ++g_state.count;
    if (n != g_state.failAt) return false;
    g_state.fired = true;
    code = g_state.errorCode == SQLITE_FULL ? SQLITE_FULL : ioErrorCode;
    return true;
}

int xClose(sqlite3_file* file)
{
    sqlite3_file* real = realFile(file);
    return real->pMethods != nullptr ? real->pMethods->xClose(real) : SQLITE_OK;
}
int xRead(sqlite3_file* file, void* buffer, int amount, sqlite3_int64 offset)
{
    return realFile(file)->pMethods->xRead(realFile(file), buffer, amount, offset);
}
int xWrite(sqlite3_file* file, const void* buffer, int amount, sqlite3_int64 offset)
{
    int code = SQLITE_OK;
    if (failNow(code, SQLITE_IOERR_WRITE)) return code;
    return realFile(file)->pMethods->xWrite(realFile(file), buffer, amount, offset);
}
int xTruncate(sqlite3_file* file, sqlite3_int64 size) { return realFile(file)->pMethods->xTruncate(realFile(file), size); }
int xSync(sqlite3_file* file, int flags)
{
    int code = SQLITE_OK;
    if (failNow(code, SQLITE_IOERR_FSYNC)) return code;
    return realFile(file)->pMethods->xSync(realFile(file), flags);
}
int xFileSize(sqlite3_file* file, sqlite3_int64* size) { return realFile(file)->pMethods->xFileSize(realFile(file), size); }
int xLock(sqlite3_file* file, int level) { return realFile(file)->pMethods->xLock(realFile(file), level); }
int xUnlock(sqlite3_file* file, int level) { return realFile(file)->pMethods->xUnlock(realFile(file), level); }
int xCheckReservedLock(sqlite3_file* file, int* out)
{
    return realFile(file)->pMethods->xCheckReservedLock(realFile(file), out);
}
int xFileControl(sqlite3_file* file, int op, void* argument)
{
    return realFile(file)->pMethods->xFileControl(realFile(file), op, argument);
}
int xSectorSize(sqlite3_file* file) { return realFile(file)->pMethods->xSectorSize(realFile(file)); }
int xDeviceCharacteristics(sqlite3_file* file)
{
    return realFile(file)->pMethods->xDeviceCharacteristics(realFile(file));
}
int xShmMap(sqlite3_file* file, int region, int size, int extend, void volatile** out)
{
    return realFile(file)->pMethods->xShmMap(realFile(file), region, size, extend, out);
}
int xShmLock(sqlite3_file* file, int offset, int n, int flags)
{
    return realFile(file)->pMethods->xShmLock(realFile(file), offset, n, flags);
}
void xShmBarrier(sqlite3_file* file) { realFile(file)->pMethods->xShmBarrier(realFile(file)); }
int xShmUnmap(sqlite3_file* file, int deleteFlag) { return realFile(file)->pMethods->xShmUnmap(realFile(file), deleteFlag); }

int xOpen(sqlite3_vfs*, const char* name, sqlite3_file* file, int flags, int* outFlags)
{
    auto* wrapper = reinterpret_cast<FaultyFile*>(file);
    wrapper->real = reinterpret_cast<sqlite3_file*>(wrapper + 1);
    wrapper->base.pMethods = nullptr;
    const int result = g_real->xOpen(g_real, name, wrapper->real, flags, outFlags);
    // Memory-mapped I/O would write pages behind the layer's back: these methods offer none.
    if (wrapper->real->pMethods != nullptr) wrapper->base.pMethods = &g_methods;
    return result;
}

void install()
{
    g_real = sqlite3_vfs_find(nullptr);
    if (g_real == nullptr) throw std::runtime_error("no default SQLite file system layer");
    g_vfs = *g_real;
    g_vfs.zName = FaultyVfs::name();
    g_vfs.szOsFile = static_cast<int>(sizeof(FaultyFile)) + g_real->szOsFile;
    g_vfs.xOpen = xOpen;
    g_vfs.pNext = nullptr;
    std::memset(&g_methods, 0, sizeof g_methods);
    g_methods.iVersion = 2;  // write-ahead log shared memory, no memory-mapped I/O
    g_methods.xClose = xClose;
    g_methods.xRead = xRead;
    g_methods.xWrite = xWrite;
    g_methods.xTruncate = xTruncate;
    g_methods.xSync = xSync;
    g_methods.xFileSize = xFileSize;
    g_methods.xLock = xLock;
    g_methods.xUnlock = xUnlock;
    g_methods.xCheckReservedLock = xCheckReservedLock;
    g_methods.xFileControl = xFileControl;
    g_methods.xSectorSize = xSectorSize;
    g_methods.xDeviceCharacteristics = xDeviceCharacteristics;
    g_methods.xShmMap = xShmMap;
    g_methods.xShmLock = xShmLock;
    g_methods.xShmBarrier = xShmBarrier;
    g_methods.xShmUnmap = xShmUnmap;
    if (sqlite3_vfs_register(&g_vfs, 0) != SQLITE_OK) throw std::runtime_error("cannot register the faulty layer");
}

}  // namespace

FaultyVfs::FaultyVfs()
{
    if (sqlite3_vfs_find(name()) == nullptr) install();
    disarm();
}

FaultyVfs::~FaultyVfs() { disarm(); }

void FaultyVfs::arm(int nth, Fault fault)
{
    g_state.armed = false;
    g_state.count = 0;
    g_state.fired = false;
    g_state.failAt = nth;
    g_state.errorCode = fault == Fault::DiskFull ? SQLITE_FULL : SQLITE_IOERR;
    g_state.armed = true;
}

void FaultyVfs::disarm() { g_state.armed = false; }

int FaultyVfs::operations() const { return g_state.count; }

bool FaultyVfs::fired() const { return g_state.fired; }
