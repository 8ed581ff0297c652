// Threads, events and the recursive critical section.
#pragma once

#include "zqplatform/types.h"

inline constexpr DWORD INFINITE = 0xFFFFFFFFu;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_TIMEOUT = 258;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFFu;
/// GetExitCodeThread's answer while the thread still runs.
inline constexpr DWORD STILL_ACTIVE = 259;
/// Not supported here: CreateThread fails with ERROR_NOT_SUPPORTED.
inline constexpr DWORD CREATE_SUSPENDED = 0x4;

/// A recursive lock. Opaque storage sized for the platform's mutex (on
/// Windows, the system's own critical section); use InitializeCriticalSection
/// before and DeleteCriticalSection after.
struct CRITICAL_SECTION {
#if defined(_WIN32)
    alignas(8) unsigned char opaque[40];
#else
    alignas(8) unsigned char opaque[64];
#endif
};

using LPTHREAD_START_ROUTINE = DWORD (*)(LPVOID);

extern "C" {
ZQPLATFORM_API void InitializeCriticalSection(CRITICAL_SECTION* cs);
/// Like the above, but reports failure (FALSE, last error set) instead of
/// leaving a broken lock.
ZQPLATFORM_API BOOL InitializeCriticalSectionEx(CRITICAL_SECTION* cs, DWORD spinCount, DWORD flags);
ZQPLATFORM_API void EnterCriticalSection(CRITICAL_SECTION* cs);
ZQPLATFORM_API BOOL TryEnterCriticalSection(CRITICAL_SECTION* cs);
ZQPLATFORM_API void LeaveCriticalSection(CRITICAL_SECTION* cs);
ZQPLATFORM_API void DeleteCriticalSection(CRITICAL_SECTION* cs);

/// An event: manual or auto reset. Answers null and sets the last error on
/// failure. Security attributes and names are not supported (pass null).
ZQPLATFORM_API HANDLE CreateEventW(void* securityAttributes, BOOL manualReset, BOOL initialState,
                                   const WCHAR* name);
ZQPLATFORM_API BOOL SetEvent(HANDLE event);
ZQPLATFORM_API BOOL ResetEvent(HANDLE event);

/// Starts a thread running `start(parameter)`. Stack size 0 is the default.
ZQPLATFORM_API HANDLE CreateThread(void* securityAttributes, size_t stackSize, LPTHREAD_START_ROUTINE start,
                                   LPVOID parameter, DWORD creationFlags, DWORD* threadId);
ZQPLATFORM_API DWORD GetCurrentThreadId();
ZQPLATFORM_API DWORD GetCurrentProcessId();
ZQPLATFORM_API BOOL GetExitCodeThread(HANDLE thread, DWORD* exitCode);

/// Waits on an event (signalled state) or a thread (ended). WAIT_OBJECT_0,
/// WAIT_TIMEOUT, or WAIT_FAILED with the last error set.
ZQPLATFORM_API DWORD WaitForSingleObject(HANDLE handle, DWORD milliseconds);
/// Closes an event or thread handle. A thread handle closed before the
/// thread ends detaches it.
ZQPLATFORM_API BOOL CloseHandle(HANDLE handle);
ZQPLATFORM_API void Sleep(DWORD milliseconds);
/// Milliseconds of a monotonic clock.
ZQPLATFORM_API ULONGLONG GetTickCount64();
}
