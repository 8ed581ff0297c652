#pragma once

#include <atomic>

#include "support/trace/CTraceLock.h"
#include "support/trace/CTraceTimer.h"
#include "zqplatform/timerqueue.h"

class CHeapBuffer;

/// The one tracer of a process: a write buffer that traced threads append to,
/// and a timer that writes the buffer to the trace file every 500 ms. Every
/// copy of the trace code in the process uses it, through its CTracerLink;
/// it lives on the process heap from the first link's attach to the last
/// link's Release. Any thread may call it.
class CSharedTracer {
public:
    /// A new tracer on the process heap with no user yet, or null.
    static CSharedTracer* Create() noexcept;
    CSharedTracer(const CSharedTracer&) = delete;
    CSharedTracer& operator=(const CSharedTracer&) = delete;

    /// One more user (a link). Answers the new count.
    LONG AddUse() noexcept;
    /// Drops one user: writes out what waits, destroys the write buffer (its
    /// code may belong to the caller's copy), and, if the caller's copy made
    /// the timer, deletes it, waiting for a running flush. The last user
    /// frees the tracer. Answers the count after the release. Never waits
    /// more than about a second for a lock held elsewhere.
    LONG Release() noexcept;

    /// Copies a text to the write buffer, each lone CR and lone LF becoming
    /// CR LF, and starts the flush timer if there is none. A text that can't
    /// be stored is lost. Null is ignored.
    void Append(const char* text) noexcept;
    /// Takes what waits in the write buffer and writes it out, unless the
    /// last write was less than 51 ms ago: then it waits for a later flush.
    void Flush() noexcept;
    /// Appends bytes to the trace file, opening it for the write only. A new
    /// file begins with the UTF-8 mark. When the path can't be a file (it is
    /// a directory, or creating the file is refused where a directory can
    /// be made) the log moves, once, into a directory of that name. Failures
    /// lose the bytes; a file locked by another writer is retried for 1 s.
    void WriteOut(const BYTE* bytes, LONG size) noexcept;

    /// What a diagnostic or a test may look at.
    LONG GetUseCount() const noexcept { return m_UseCount.load(std::memory_order_acquire); }
    HANDLE GetTimer() const noexcept { return m_Timer.load(std::memory_order_acquire); }
    /// The g_TraceFlags of the copy of the code whose routine the timer
    /// calls; null while there is no timer.
    const void* GetTimerOwner() const noexcept { return m_TimerOwner.load(std::memory_order_acquire); }
    /// The write buffer, or null before the first line and after a release.
    const CHeapBuffer* GetWriteBuffer() noexcept;

private:
    CSharedTracer() noexcept = default;
    ~CSharedTracer() = default;

    static void TimerRoutine(PVOID parameter, BOOLEAN fired);
    void StartTimer() noexcept;
    void StopTimer() noexcept;
    void WriteOutPendingLocked() noexcept;
    void MoveIntoDirectory(const WCHAR* path) noexcept;
    void Destroy() noexcept;

    CTraceLock m_Lock;  // guards m_WriteBuffer and m_FlushTimer; held for copying, not for file work
    CHeapBuffer* m_WriteBuffer = nullptr;
    CTraceTimer m_FlushTimer;  // since the last write to the file
    std::atomic<LONG> m_UseCount{0};
    std::atomic<HANDLE> m_TimerQueue{nullptr};
    std::atomic<HANDLE> m_Timer{nullptr};
    std::atomic<const void*> m_TimerOwner{nullptr};
    std::atomic<LONG> m_FlushGuard{0};  // flushes at work, and a pending timer deletion
    std::atomic<LONG> m_Retry{1};       // 0 once the path has moved: no more retries of a failed open
};
