// Diagnostics: debugger output, the count of open handles, the local time,
// the performance counter, the process heap, named process-wide records
// (file mappings without a file) and timer queues. These serve the trace log,
// which must work the same from every copy of its code loaded in a process.
#pragma once

#include "zqplatform/fileapi.h"
#include "zqplatform/types.h"

using BOOLEAN = BYTE;

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

inline constexpr DWORD HEAP_ZERO_MEMORY = 0x08;

inline constexpr DWORD PAGE_READONLY = 0x02;
inline constexpr DWORD PAGE_READWRITE = 0x04;
inline constexpr DWORD FILE_MAP_WRITE = 0x02;
inline constexpr DWORD FILE_MAP_READ = 0x04;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0xF001F;

inline constexpr ULONG WT_EXECUTEDEFAULT = 0x00;
inline constexpr ULONG WT_EXECUTEINTIMERTHREAD = 0x20;

/// A timer routine; `timerOrWaitFired` is always TRUE for a timer.
using WAITORTIMERCALLBACK = void (*)(PVOID parameter, BOOLEAN timerOrWaitFired);

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

/// The heap shared by every module of the process: memory taken by one copy
/// of a library can be freed by another one.
ZQPLATFORM_API HANDLE GetProcessHeap();
/// Null on failure; a size of 0 still gives a block.
ZQPLATFORM_API LPVOID HeapAlloc(HANDLE heap, DWORD flags, size_t bytes);
/// Null on failure, with the old block untouched. HEAP_ZERO_MEMORY is not
/// supported for a reallocation (the grown part is not cleared).
ZQPLATFORM_API LPVOID HeapReAlloc(HANDLE heap, DWORD flags, LPVOID memory, size_t bytes);
/// Null is accepted.
ZQPLATFORM_API BOOL HeapFree(HANDLE heap, DWORD flags, LPVOID memory);

/// A named record of zeroed memory shared by every user of the name in this
/// process (names are private to the process). `file` must be
/// INVALID_HANDLE_VALUE: only memory without a file is supported. A name in
/// use gives a new handle to the same record and sets ERROR_ALREADY_EXISTS;
/// a new record sets the last error to 0. The record lives while a handle or
/// a view of it is open; handles are closed with CloseHandle.
ZQPLATFORM_API HANDLE CreateFileMappingA(HANDLE file, void* securityAttributes, DWORD protect,
                                         DWORD maximumSizeHigh, DWORD maximumSizeLow, const char* name);
/// The record's memory, aligned for any scalar; every view of a record has
/// the same address here. `bytes` 0 maps the whole record.
ZQPLATFORM_API LPVOID MapViewOfFile(HANDLE mapping, DWORD desiredAccess, DWORD offsetHigh, DWORD offsetLow,
                                    size_t bytes);
ZQPLATFORM_API BOOL UnmapViewOfFile(const void* view);

/// A queue of timers served by one thread of its own.
ZQPLATFORM_API HANDLE CreateTimerQueue();
/// Calls `callback(parameter, TRUE)` after `dueTime` ms and then every
/// `period` ms (0: once), on the queue's thread. The queue's callbacks never
/// overlap. `queue` null is not supported (ERROR_INVALID_PARAMETER).
ZQPLATFORM_API BOOL CreateTimerQueueTimer(HANDLE* newTimer, HANDLE queue, WAITORTIMERCALLBACK callback,
                                          PVOID parameter, DWORD dueTime, DWORD period, ULONG flags);
/// Cancels a timer. With `completionEvent` INVALID_HANDLE_VALUE waits for a
/// running callback of the timer to end, unless called from that callback;
/// with an event, waits likewise and then sets the event; with null doesn't
/// wait. The timer handle is invalid afterwards.
ZQPLATFORM_API BOOL DeleteTimerQueueTimer(HANDLE queue, HANDLE timer, HANDLE completionEvent);
/// Cancels every timer of the queue and ends its thread, waiting as
/// DeleteTimerQueueTimer does. Called from one of the queue's own callbacks,
/// the thread ends after that callback returns.
ZQPLATFORM_API BOOL DeleteTimerQueueEx(HANDLE queue, HANDLE completionEvent);
}
