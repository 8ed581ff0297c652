// Debugger output, the count of open handles, the local time, the
// performance counter and the process heap.
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <unistd.h>

#include "kernel/RetryOnInterrupt.h"
#include "zqplatform/debugapi.h"
#include "zqplatform/heapapi.h"
#include "zqplatform/status.h"

namespace {

// The pseudo handle of the own process, as on the original platform.
HANDLE const kCurrentProcess = reinterpret_cast<HANDLE>(~uintptr_t{0});
// Any non-null value: there is one heap, the C library's, which every
// shared object of the process uses.
HANDLE const kProcessHeap = reinterpret_cast<HANDLE>(uintptr_t{0x48454150});  // "HEAP"

// Ticks of the performance counter per second: 100 ns, as commonly on the
// original platform, which keeps (ticks * 1000) clear of overflow for decades.
constexpr LONGLONG kCounterFrequency = 10'000'000;

}  // namespace

extern "C" {

void OutputDebugStringA(const char* text) {
    // Standard error, not syslog: a developer who turns this output on is
    // watching a terminal or a test log, as one watches a debugger's output
    // window, and a line must cost one system call, not a socket round trip.
    if (text == nullptr)
        return;
    zqplatform::WriteFully(STDERR_FILENO, text, std::strlen(text));
}

HANDLE GetCurrentProcess() {
    return kCurrentProcess;
}

BOOL GetProcessHandleCount(HANDLE process, DWORD* handleCount) {
    if (handleCount == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    if (process != kCurrentProcess) {
        SetLastError(ERROR_INVALID_HANDLE);
        return FALSE;
    }
    DIR* folder = ::opendir("/proc/self/fd");
    if (folder == nullptr) {
        ZQHResultFromErrno(errno);
        return FALSE;
    }
    DWORD count = 0;
    while (const dirent* entry = ::readdir(folder)) {
        if (entry->d_name[0] != '.')
            ++count;
    }
    ::closedir(folder);
    // The listing itself held one descriptor, which isn't the caller's.
    *handleCount = count > 0 ? count - 1 : 0;
    return TRUE;
}

void GetLocalTime(SYSTEMTIME* time) {
    if (time == nullptr)
        return;
    timespec now {};
    ::clock_gettime(CLOCK_REALTIME, &now);
    tm local {};
    ::localtime_r(&now.tv_sec, &local);
    time->wYear = static_cast<WORD>(local.tm_year + 1900);
    time->wMonth = static_cast<WORD>(local.tm_mon + 1);
    time->wDayOfWeek = static_cast<WORD>(local.tm_wday);
    time->wDay = static_cast<WORD>(local.tm_mday);
    time->wHour = static_cast<WORD>(local.tm_hour);
    time->wMinute = static_cast<WORD>(local.tm_min);
    // A leap second (60) is shown as the last second of the minute.
    time->wSecond = static_cast<WORD>(local.tm_sec > 59 ? 59 : local.tm_sec);
    time->wMilliseconds = static_cast<WORD>(now.tv_nsec / 1'000'000);
}

BOOL QueryPerformanceCounter(LARGE_INTEGER* count) {
    if (count == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    timespec now {};
    ::clock_gettime(CLOCK_MONOTONIC, &now);
    count->QuadPart = static_cast<LONGLONG>(now.tv_sec) * kCounterFrequency + now.tv_nsec / 100;
    return TRUE;
}

BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency) {
    if (frequency == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    frequency->QuadPart = kCounterFrequency;
    return TRUE;
}

HANDLE GetProcessHeap() {
    return kProcessHeap;
}

LPVOID HeapAlloc(HANDLE /*heap*/, DWORD flags, size_t bytes) {
    size_t size = bytes == 0 ? 1 : bytes;
    void* memory = (flags & HEAP_ZERO_MEMORY) != 0 ? std::calloc(1, size) : std::malloc(size);
    if (memory == nullptr)
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return memory;
}

LPVOID HeapReAlloc(HANDLE /*heap*/, DWORD /*flags*/, LPVOID memory, size_t bytes) {
    if (memory == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    void* grown = std::realloc(memory, bytes == 0 ? 1 : bytes);
    if (grown == nullptr)
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return grown;
}

BOOL HeapFree(HANDLE /*heap*/, DWORD /*flags*/, LPVOID memory) {
    std::free(memory);
    return TRUE;
}

}  // extern "C"
