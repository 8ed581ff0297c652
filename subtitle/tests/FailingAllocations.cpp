#include "subtitle/tests/FailingAllocations.h"

#include <cstdlib>
#include <new>

namespace {

// Allocations of this thread still to pass before one fails; negative: none fails.
thread_local long t_allocationsBeforeFailure = -1;
thread_local bool t_failed = false;

void* Allocate(std::size_t size) noexcept {
    if (t_allocationsBeforeFailure >= 0 && t_allocationsBeforeFailure-- == 0) {
        t_failed = true;
        return nullptr;
    }
    return std::malloc(size != 0 ? size : 1);
}

}  // namespace

namespace zqtest {

FailNthAllocation::FailNthAllocation(long n) noexcept {
    t_allocationsBeforeFailure = n;
    t_failed = false;
}

FailNthAllocation::~FailNthAllocation() {
    t_allocationsBeforeFailure = -1;
}

bool FailNthAllocation::Triggered() const noexcept {
    return t_failed;
}

}  // namespace zqtest

// Visible to every library of the process, so that an allocation and its
// release always meet the same pair; malloc and free underneath.
#define ZQTEST_EXPORT __attribute__((visibility("default")))
#pragma GCC diagnostic ignored "-Wmismatched-new-delete"

ZQTEST_EXPORT void* operator new(std::size_t size) {
    void* p = Allocate(size);
    if (p == nullptr)
        throw std::bad_alloc();
    return p;
}
ZQTEST_EXPORT void* operator new[](std::size_t size) { return operator new(size); }
ZQTEST_EXPORT void* operator new(std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
ZQTEST_EXPORT void* operator new[](std::size_t size, const std::nothrow_t&) noexcept { return Allocate(size); }
ZQTEST_EXPORT void operator delete(void* p) noexcept { std::free(p); }
ZQTEST_EXPORT void operator delete[](void* p) noexcept { std::free(p); }
ZQTEST_EXPORT void operator delete(void* p, std::size_t) noexcept { std::free(p); }
ZQTEST_EXPORT void operator delete[](void* p, std::size_t) noexcept { std::free(p); }
ZQTEST_EXPORT void operator delete(void* p, const std::nothrow_t&) noexcept { std::free(p); }
ZQTEST_EXPORT void operator delete[](void* p, const std::nothrow_t&) noexcept { std::free(p); }
