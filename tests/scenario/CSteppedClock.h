// The scenario's reference clock: it stands still until the scenario moves it.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

#include "zqplatform/strmif.h"
#include "zqplatform/unknownimpl.h"

/// A clock that reads the time last set and counts its reads, so that the
/// scenario knows when the demultiplexer's timing worker has seen a new time.
/// Owned by the scenario's stack; any thread may read it.
class CSteppedClock final : public CUnknownImpl<ZQLifetime::Borrowed, IReferenceClock> {
public:
    CSteppedClock() = default;

    HRESULT GetTime(REFERENCE_TIME* pTime) override;
    HRESULT AdviseTime(REFERENCE_TIME, REFERENCE_TIME, HEVENT, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT AdvisePeriodic(REFERENCE_TIME, REFERENCE_TIME, HSEMAPHORE, DWORD_PTR*) override { return E_NOTIMPL; }
    HRESULT Unadvise(DWORD_PTR) override { return E_NOTIMPL; }

    /// Moves the clock, then waits until it has been read three times more:
    /// the first read may have begun before the move, the second sees the
    /// new time, and the third begins only after the tick that made the
    /// second has ended, with its events posted. False when `timeout`
    /// passes first.
    bool MoveAndWaitForTick(REFERENCE_TIME time, std::chrono::milliseconds timeout);

private:
    std::atomic<REFERENCE_TIME> m_time{0};
    // Guards m_reads; m_read is signalled on every read.
    std::mutex m_mutex;
    std::condition_variable m_read;
    long m_reads = 0;
};
