// The worker of an object that works in passes under its own lock: the
// multiplexer's pump and the demultiplexer's timing.
#pragma once

#include "support/CAMThread.h"
#include "support/CWorkerInterlock.h"
#include "zqplatform/comptr.h"

/// The start, stop and abandon protocol of a CAMThread whose work is a loop
/// of passes, each made under the owner's lock (a CWorkerInterlock), with a
/// look for requests between two passes. The owner derives from it, supplies
/// the pass and the wait between passes, and keeps its own state: it calls
/// StartWorkerInternal, EndWorkerInternal and AbandonOrEndWorkerInternal with
/// its lock held, from any thread but the worker's own (AbandonOr... excepted).
///
/// Request 0 starts the passes and request 1 ends the thread; any other code
/// is answered E_NOTIMPL. A pass that answers anything but S_OK ends the
/// passes until the owner stops the worker. If the owner's last reference
/// goes on the worker itself, from inside a pass, the worker finishes that
/// pass on references of its own and leaves without touching the owner.
class CPassWorker : public CAMThread {
public:
    static constexpr DWORD kRequestStart = 0;
    static constexpr DWORD kRequestExit = 1;

protected:
    /// `passPeriodMs`: how long the worker waits for a request before each
    /// pass; that wait is its timer (0 for passes back to back).
    explicit CPassWorker(DWORD passPeriodMs) noexcept : m_passPeriodMs(passPeriodMs) {}
    ~CPassWorker() override = default;

    /// Owner, `lock` held: starts a worker and its passes. The first pass
    /// comes after the owner lets `lock` go. The platform's error when no
    /// thread can be made; a refused start request ends the thread and is the
    /// answer. The owner keeps `lock` alive for the worker: the worker holds a
    /// reference of its own to it until the thread ends.
    HRESULT StartWorkerInternal(CWorkerInterlock& lock);

    /// Owner, `lock` held, not on the worker: ends the passes between two of
    /// them and waits for the thread. No pass comes after it returns.
    void EndWorkerInternal(CWorkerInterlock& lock);

    /// Owner, when its last reference goes, `lock` held: ends the worker as
    /// EndWorkerInternal does, or, on the worker's own thread (the last
    /// reference went inside a pass), tells it to leave after this pass
    /// without touching the owner again.
    void AbandonOrEndWorkerInternal(CWorkerInterlock& lock);

    /// The owner's pass, on the worker with the owner's lock held. S_OK to go
    /// on with the next pass; anything else rests the worker until it is
    /// ended. Never throws.
    virtual HRESULT PassInternal() noexcept = 0;

private:
    DWORD ThreadProc() final;
    /// Makes passes until one doesn't answer S_OK or an end request stands
    /// (left for ThreadProc to answer). False when the owner is gone.
    bool PassLoopInternal(CWorkerInterlock& lock);

    const DWORD m_passPeriodMs;
    // The lock of the present run, set by StartWorkerInternal before the
    // thread starts and read by the thread as it starts.
    CComPtr<CWorkerInterlock> m_runLock;
};
