// The recursive critical section: a std::recursive_mutex living in the
// caller's opaque CRITICAL_SECTION storage.
#include <mutex>
#include <new>

#include "zqplatform/status.h"
#include "zqplatform/sync.h"

namespace {

static_assert(sizeof(std::recursive_mutex) <= sizeof(CRITICAL_SECTION::opaque),
              "the recursive mutex must fit the opaque storage");
static_assert(alignof(std::recursive_mutex) <= alignof(CRITICAL_SECTION),
              "the opaque storage must be aligned for the recursive mutex");

std::recursive_mutex& MutexOf(CRITICAL_SECTION* cs) {
    return *std::launder(reinterpret_cast<std::recursive_mutex*>(cs->opaque));
}

}  // namespace

extern "C" {

void InitializeCriticalSection(CRITICAL_SECTION* cs) {
    ::new (static_cast<void*>(cs->opaque)) std::recursive_mutex();
}

BOOL InitializeCriticalSectionEx(CRITICAL_SECTION* cs, DWORD /*spinCount*/, DWORD /*flags*/) {
    if (cs == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    // Constructing a recursive mutex on this platform can't fail.
    InitializeCriticalSection(cs);
    return TRUE;
}

void EnterCriticalSection(CRITICAL_SECTION* cs) {
    MutexOf(cs).lock();
}

BOOL TryEnterCriticalSection(CRITICAL_SECTION* cs) {
    return MutexOf(cs).try_lock() ? TRUE : FALSE;
}

void LeaveCriticalSection(CRITICAL_SECTION* cs) {
    MutexOf(cs).unlock();
}

void DeleteCriticalSection(CRITICAL_SECTION* cs) {
    MutexOf(cs).~recursive_mutex();
}

}  // extern "C"
