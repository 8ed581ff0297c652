// The lock of an object that owns a worker thread, with the interlock that
// lets the object stop its worker while it holds that lock.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <thread>

#include "support/CRefObject.h"
#include "zqplatform/status.h"

/// The one lock of an object that owns a CAMThread worker, where the worker
/// does its work in passes (the multiplexer's pump) or ticks (the
/// demultiplexer's timing) under that lock and looks for requests between
/// them. The object and its worker each hold a reference: the worker's keeps
/// the lock alive when the object dies under it (see AbandonWorker). Any
/// thread may enter the lock; the functions marked "worker" are for the
/// worker alone, those marked "owner" are called with the lock held.
///
/// Why an interlock. The owner's Stop holds the lock from its state test to
/// its answer, so that no other operation can see the object half stopped and
/// a Stop racing a Run or a second Stop simply waits its turn. It waits for
/// the worker's reply with the lock held. A worker that has just found no
/// request and is about to start a pass would then block on the lock forever
/// while Stop blocks on its reply. So the worker never blocks on the lock
/// plainly: it enters with EnterForPass, which gives up as soon as the owner
/// has called BeginStop, and the worker then waits for the request that the
/// owner is about to send. This also holds when Stop is called by a thread
/// that already holds the lock more than once, since nothing is released.
///
/// The owner's Stop, with the lock held:
///     if running and not IsWorkerThread():
///         BeginStop(); CallWorker(end); Close(); state = stopped
/// Run, with the lock held: BeginRun(); Create(); CallWorker(start).
/// The worker, between two pieces of work:
///     if CheckRequest(&code, timeout): handle it (an end request is left
///         standing for the waiting loop, which replies and ends the thread)
///     else if !EnterForPass(): CheckRequest(nullptr, INFINITE)  // Stop's request comes
///     else: one pass; Leave(); if IsAbandoned(): return at once
/// The worker calls AttachWorker first thing in its ThreadProc and keeps its
/// own reference to the interlock for the whole ThreadProc.
///
/// Waiting clients go before the worker's next pass: after a pass the worker
/// lets at least one waiting client in before it enters again, so that the
/// operations allowed while running get in between passes even when the host
/// returns at once, and a stream of clients can't starve the worker either.
class CWorkerInterlock final : public CRefObject<CWorkerInterlock> {
public:
    /// A new interlock, unlocked, not stopping; `*out` holds the caller's
    /// reference. E_POINTER for a null `out`, E_OUTOFMEMORY.
    static HRESULT Create(CWorkerInterlock** out) noexcept;

    /// Takes the lock; recursive for the thread that holds it.
    void Enter() noexcept;
    /// Gives back one Enter (or the EnterForPass of a pass).
    void Leave() noexcept;
    /// True when the calling thread holds the lock more than once: it came
    /// back into the object from inside one of the object's own operations,
    /// for example from a host callback.
    bool IsNested() const noexcept;

    /// Owner, before CAMThread::Create: forgets the last run's stop and worker.
    void BeginRun() noexcept;
    /// Owner, before sending the end request: a worker waiting in or coming
    /// to EnterForPass gives up instead of waiting for the lock.
    void BeginStop() noexcept;
    /// True on the thread of the present run's worker (after AttachWorker).
    bool IsWorkerThread() const noexcept;
    /// Owner, when its last reference goes on its own worker thread (the host
    /// released it from a callback inside a pass): the worker can't be waited
    /// for there, so it is told to finish its pass on its own references and
    /// leave without touching the owner again.
    void AbandonWorker() noexcept;

    /// Worker, first thing in ThreadProc: records the worker's thread.
    void AttachWorker() noexcept;
    /// Worker: takes the lock for one pass. Waits while another thread holds
    /// it, and after a pass until a waiting client has had its turn. False,
    /// without the lock, once BeginStop has been called.
    bool EnterForPass() noexcept;
    /// Worker, after a pass: true when the owner is gone (AbandonWorker).
    bool IsAbandoned() const noexcept { return m_abandoned.load(std::memory_order_acquire); }

    /// Holds the lock for a scope.
    class Guard {
    public:
        explicit Guard(CWorkerInterlock& interlock) noexcept : m_interlock(interlock) { m_interlock.Enter(); }
        ~Guard() { m_interlock.Leave(); }
        Guard(const Guard&) = delete;
        Guard& operator=(const Guard&) = delete;

    private:
        CWorkerInterlock& m_interlock;
    };

private:
    CWorkerInterlock() noexcept = default;
    ~CWorkerInterlock() override = default;

    bool HeldByCaller() const noexcept { return m_depth != 0 && m_owner == std::this_thread::get_id(); }

    // Guards every field below but m_abandoned. Taken only inside the
    // functions of this class, never across a call out.
    mutable std::mutex m_mutex;
    // Signalled when the lock falls free and when a stop begins.
    std::condition_variable m_changed;
    // The thread that holds the lock and how many times; depth 0 is free.
    std::thread::id m_owner;
    uint32_t m_depth = 0;
    // Clients (any Enter that had to wait) waiting now, and how many clients
    // have entered so far: the worker's turn rule reads them.
    uint32_t m_clientsWaiting = 0;
    uint64_t m_clientEntries = 0;
    bool m_workerWaiting = false;
    // The present run's worker thread, and whether its owner is stopping it.
    std::thread::id m_worker;
    bool m_stopping = false;
    // Written and read on the worker's own thread only (AbandonWorker runs
    // there by definition); atomic so that the rule needs no proof.
    std::atomic<bool> m_abandoned{false};
};
