#pragma once
// Counts every heap allocation the program makes, its own and the service's:
// linking CountingAllocator.cpp replaces the global operator new and delete. Used to show
// that a hot path allocates nothing and to measure the heap the service keeps.

#include <cstddef>

namespace heapcount {

struct Snapshot {
    std::size_t allocations;  // operator new calls so far
    std::size_t liveBytes;    // requested bytes not yet freed
};

Snapshot now();

}  // namespace heapcount
