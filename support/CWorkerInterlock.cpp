#include "support/CWorkerInterlock.h"

#include <cassert>
#include <new>

HRESULT CWorkerInterlock::Create(CWorkerInterlock** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = new (std::nothrow) CWorkerInterlock();
    if (*out == nullptr)
        return E_OUTOFMEMORY;
    (*out)->AddRef();
    return S_OK;
}

void CWorkerInterlock::Enter() noexcept {
    std::unique_lock<std::mutex> lock(m_mutex);
    if (HeldByCaller()) {
        ++m_depth;
        return;
    }
    ++m_clientsWaiting;
    m_changed.wait(lock, [this] { return m_depth == 0; });
    --m_clientsWaiting;
    ++m_clientEntries;
    m_owner = std::this_thread::get_id();
    m_depth = 1;
}

void CWorkerInterlock::Leave() noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    assert(HeldByCaller() && "leaving a lock this thread doesn't hold");
    if (--m_depth != 0)
        return;
    m_owner = std::thread::id();
    if (m_clientsWaiting != 0 || m_workerWaiting)
        m_changed.notify_all();
}

bool CWorkerInterlock::IsNested() const noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    return HeldByCaller() && m_depth > 1;
}

void CWorkerInterlock::BeginRun() noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    assert(HeldByCaller() && "BeginRun without the lock");
    m_stopping = false;
    m_worker = std::thread::id();
}

void CWorkerInterlock::BeginStop() noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    assert(HeldByCaller() && "BeginStop without the lock");
    m_stopping = true;
    if (m_workerWaiting)
        m_changed.notify_all();
}

bool CWorkerInterlock::IsWorkerThread() const noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    return m_worker == std::this_thread::get_id();
}

void CWorkerInterlock::AbandonWorker() noexcept {
    assert(IsWorkerThread() && "only the worker itself is abandoned");
    m_abandoned.store(true, std::memory_order_release);
}

void CWorkerInterlock::AttachWorker() noexcept {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_worker = std::this_thread::get_id();
}

bool CWorkerInterlock::EnterForPass() noexcept {
    std::unique_lock<std::mutex> lock(m_mutex);
    assert(m_worker == std::this_thread::get_id() && "EnterForPass off the worker");
    // A client that waits now gets in before this pass; one entry is enough,
    // so that clients that keep coming can't hold the worker off for good.
    const uint64_t entriesSeen = m_clientEntries;
    m_workerWaiting = true;
    m_changed.wait(lock, [&] {
        return m_stopping || (m_depth == 0 && (m_clientsWaiting == 0 || m_clientEntries != entriesSeen));
    });
    m_workerWaiting = false;
    // The owner holds the lock and waits for the worker's reply: no pass now.
    if (m_stopping)
        return false;
    m_owner = std::this_thread::get_id();
    m_depth = 1;
    return true;
}
