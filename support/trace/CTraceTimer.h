#pragma once

#include "zqplatform/types.h"

/// A stopwatch in milliseconds over the performance counter, falling back on
/// the tick count, that can report itself through Trace when it ends. Owned
/// by its creator; Elapsed may be called from any thread once the timer is
/// started, Restart only while no other thread reads it.
class CTraceTimer {
public:
    /// Starts the watch. `name`, if not null, is copied and is the format of
    /// the report, with one %s for the duration; `threshold` is the number of
    /// milliseconds the watch must pass for a report (-1: always).
    /// `status`, if not null, receives E_OUTOFMEMORY when the name couldn't
    /// be copied (the timer then only measures), else Restart's status.
    explicit CTraceTimer(const char* name = nullptr, LONG threshold = -1, HRESULT* status = nullptr) noexcept;
    /// Reports "name" with the duration if it passed the threshold.
    ~CTraceTimer();
    CTraceTimer(const CTraceTimer&) = delete;
    CTraceTimer& operator=(const CTraceTimer&) = delete;

    /// Milliseconds since the start, held at 0x7FFFFFFF.
    LONGLONG Elapsed() const noexcept;
    /// Starts anew. A failed counter read leaves the watch on the tick count
    /// and answers its status.
    HRESULT Restart() noexcept;

private:
    void Report() noexcept;

    char* m_Name = nullptr;       // own copy, from the C heap; null for a watch that only measures
    LONGLONG m_Frequency = 0;     // counter ticks per second, 0 until read
    LONGLONG m_StartCount = -1;   // counter at the start, -1 when the counter failed
    DWORD m_StartTicks = 0;       // tick count at the start
    char m_Text[50] = {};         // the duration as text, for the report
    LONG m_Threshold = -1;
};
