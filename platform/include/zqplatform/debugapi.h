// Diagnostics: debugger output, the count of open handles, the local time
// and the performance counter.
#pragma once

#include "zqplatform/fileapi.h"
#include "zqplatform/types.h"

struct SYSTEMTIME {
    WORD wYear;
    WORD wMonth;
    WORD wDayOfWeek;
    WORD wDay;
    WORD wHour;
    WORD wMinute;
    WORD wSecond;
    WORD wMilliseconds;
};

extern "C" {
/// Writes the text to the developer's console (standard error) in one write,
/// so that lines from several threads don't interleave. Null is ignored.
ZQPLATFORM_API void OutputDebugStringA(const char* text);

/// The pseudo handle of the calling process; it needs no closing.
ZQPLATFORM_API HANDLE GetCurrentProcess();
/// The number of open file descriptors of the calling process (other
/// processes are not supported: ERROR_INVALID_HANDLE).
ZQPLATFORM_API BOOL GetProcessHandleCount(HANDLE process, DWORD* handleCount);

/// The local time of day and date, with milliseconds.
ZQPLATFORM_API void GetLocalTime(SYSTEMTIME* time);

/// A monotonic high-resolution counter and its ticks per second (constant
/// for the process). Neither fails for a valid pointer.
ZQPLATFORM_API BOOL QueryPerformanceCounter(LARGE_INTEGER* count);
ZQPLATFORM_API BOOL QueryPerformanceFrequency(LARGE_INTEGER* frequency);
}
