// Timer queues: timers whose callbacks run on a thread of the queue's own.
#pragma once

#include "zqplatform/fileapi.h"
#include "zqplatform/types.h"

using BOOLEAN = BYTE;

inline constexpr ULONG WT_EXECUTEDEFAULT = 0x00;
inline constexpr ULONG WT_EXECUTEINTIMERTHREAD = 0x20;

/// A timer routine; `timerOrWaitFired` is always TRUE for a timer.
using WAITORTIMERCALLBACK = void (*)(PVOID parameter, BOOLEAN timerOrWaitFired);

extern "C" {
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
