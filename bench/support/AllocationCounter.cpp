#include "bench/support/AllocationCounter.h"

#include <cstdlib>
#include <new>

std::atomic<long long> g_allocations{0};

// Counting replacements of the global allocation functions, visible to the
// shared libraries of the program too.
#define ZQBENCH_EXPORT __attribute__((visibility("default")))
// The pairs below are malloc and free underneath, which the compiler can't see.
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

ZQBENCH_EXPORT void* operator new(std::size_t size) {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size != 0 ? size : 1))
        return p;
    throw std::bad_alloc();
}
ZQBENCH_EXPORT void* operator new[](std::size_t size) {
    return operator new(size);
}
ZQBENCH_EXPORT void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    g_allocations.fetch_add(1, std::memory_order_relaxed);
    return std::malloc(size != 0 ? size : 1);
}
ZQBENCH_EXPORT void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
    return operator new(size, tag);
}
ZQBENCH_EXPORT void operator delete(void* p) noexcept {
    std::free(p);
}
ZQBENCH_EXPORT void operator delete[](void* p) noexcept {
    std::free(p);
}
ZQBENCH_EXPORT void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
ZQBENCH_EXPORT void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
