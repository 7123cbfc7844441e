#pragma once
// A SQLite file system layer for tests that fails for real: it passes every call to SQLite's
// own layer, but the Nth write or sync (counted over every file of every connection that uses
// it, once armed) returns the chosen error, as a full disk or a failing device would.

#include <string>

class FaultyVfs {
public:
    enum class Fault { DiskFull, IoError };

    // Registers the layer under name() (once per process); not the default layer.
    FaultyVfs();
    ~FaultyVfs();
    FaultyVfs(const FaultyVfs&) = delete;
    FaultyVfs& operator=(const FaultyVfs&) = delete;

    static const char* name() { return "das-faulty"; }

    // Starts counting writes and syncs from zero; the `nth` (1-based) fails with `fault`.
    // 0 counts without failing.
    void arm(int nth, Fault fault);
    // Stops counting and failing.
    void disarm();
    // Writes and syncs counted since arm().
    int operations() const;
    // True once the armed fault has been returned.
    bool fired() const;
};
