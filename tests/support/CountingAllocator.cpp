#include "CountingAllocator.h"

#include <atomic>
#include <cstdlib>
#include <new>

// Each block carries its requested size in a header, so that a delete knows how many live
// bytes it returns. The header keeps the alignment malloc gives.
namespace {
std::atomic<std::size_t> g_allocations{0};
std::atomic<std::size_t> g_liveBytes{0};

constexpr std::size_t kHeader = alignof(std::max_align_t);

void* allocate(std::size_t size)
{
    auto* block = static_cast<unsigned char*>(std::malloc(size + kHeader));
    if (block == nullptr) throw std::bad_alloc();
    *reinterpret_cast<std::size_t*>(block) = size;
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    g_liveBytes.fetch_add(size, std::memory_order_relaxed);
    return block + kHeader;
}

void release(void* pointer) noexcept
{
    if (pointer == nullptr) return;
    auto* block = static_cast<unsigned char*>(pointer) - kHeader;
    g_liveBytes.fetch_sub(*reinterpret_cast<std::size_t*>(block), std::memory_order_relaxed);
    std::free(block);
}
}  // namespace

namespace heapcount {
Snapshot now()
{
    return {g_allocations.load(std::memory_order_relaxed), g_liveBytes.load(std::memory_order_relaxed)};
}
}  // namespace heapcount

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void* operator new(std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return allocate(size);
    } catch (...) {
        return nullptr;
    }
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept
{
    try {
        return allocate(size);
    } catch (...) {
        return nullptr;
    }
}
void operator delete(void* pointer) noexcept { release(pointer); }
void operator delete[](void* pointer) noexcept { release(pointer); }
void operator delete(void* pointer, std::size_t) noexcept { release(pointer); }
void operator delete[](void* pointer, std::size_t) noexcept { release(pointer); }
void operator delete(void* pointer, const std::nothrow_t&) noexcept { release(pointer); }
void operator delete[](void* pointer, const std::nothrow_t&) noexcept { release(pointer); }
