// A base class that gives an object one worker thread and a synchronous
// request and reply channel to it.
#pragma once

#include <atomic>

#include "zqplatform/status.h"
#include "zqplatform/sync.h"
#include "zqplatform/types.h"

/// Gives the derived object one worker thread at a time. A client puts a
/// request code in, signals it and blocks until the worker replies; the
/// worker blocks for a request (GetRequest) or looks for one between pieces
/// of work (CheckRequest, whose time-out can be its timer). Clients call
/// Create, CallWorker and Close from any thread; the worker calls GetRequest,
/// CheckRequest, Reply and may call Close. The derived class owns the object
/// and must end the worker's work before its own fields go.
class CAMThread {
public:
    /// Creates the events and the client lock. If an event can't be created
    /// and `status` is given and holds no failure yet, E_OUTOFMEMORY is written
    /// there.
    explicit CAMThread(HRESULT* status = nullptr) noexcept;

    CAMThread(const CAMThread&) = delete;
    CAMThread& operator=(const CAMThread&) = delete;

    /// Starts a worker running ThreadProc. False if a thread already exists
    /// (which is not disturbed) or the thread couldn't be started (the
    /// platform's last error tells why). A request left from an earlier
    /// thread is dropped first.
    bool Create();

    /// Sends `code` to the worker and answers its reply; blocks until the
    /// worker replies, and lets one client at a time through. E_FAIL at once
    /// when there is no thread. A worker must never call this on itself, nor
    /// may a client hold a lock the worker needs to reach its next request.
    DWORD CallWorker(DWORD code);

    /// Worker: waits for a request, takes it and answers its code.
    DWORD GetRequest();

    /// Worker: waits up to `timeoutMs` for a request. True if one stands; its
    /// code goes to `code` when that isn't null. The request stays standing
    /// until GetRequest takes it or Reply answers it.
    bool CheckRequest(DWORD* code, DWORD timeoutMs);

    /// Worker: answers the standing request with `code`.
    void Reply(DWORD code);

    /// Waits for the worker to end and closes its handle; on the worker's own
    /// thread it only closes the handle. Sends no request: the caller has
    /// told the worker to end first. Without a thread, or a second time, it
    /// does nothing.
    void Close();

    /// True while a thread handle is held (between Create and Close).
    bool ThreadExists() const noexcept { return m_Thread.load(std::memory_order_acquire) != nullptr; }

    /// The body of the worker; its result is the thread's exit code.
    virtual DWORD ThreadProc() = 0;

    /// Close, then the lock and the events go.
    virtual ~CAMThread();

private:
    static DWORD InitialThreadProc(LPVOID parameter);

    // The request being carried; written by a client under m_ClientLock before
    // m_RequestEvent is signalled, read by the worker after it sees the event.
    DWORD m_RequestCode = 0;
    // The worker's answer; written before m_ReplyEvent is signalled, read by
    // the client after it sees the event.
    DWORD m_ReplyCode = 0;
    // Manual reset, so that CheckRequest can see a request without taking it;
    // signalled while a request stands.
    HANDLE m_RequestEvent = nullptr;
    // Auto reset; signalled by Reply.
    HANDLE m_ReplyEvent = nullptr;
    // The worker's handle, null when there is none; exchanged atomically so
    // that Close and the destructor can't both wait on and close it.
    std::atomic<HANDLE> m_Thread{nullptr};
    // Id of the worker, written as it starts; keeps its value after its end.
    std::atomic<DWORD> m_ThreadId{0};
    // Lets one client at a time through Create and CallWorker, held over the
    // wait for the reply. Clients only: the worker never takes it. Taken after
    // the derived object's own lock.
    CRITICAL_SECTION m_ClientLock;
};
