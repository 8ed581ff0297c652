#include "tests/scenario/CSteppedClock.h"

HRESULT CSteppedClock::GetTime(REFERENCE_TIME* pTime) {
    if (pTime == nullptr)
        return E_POINTER;
    *pTime = m_time.load();
    std::lock_guard<std::mutex> lock(m_mutex);
    ++m_reads;
    m_read.notify_all();
    return S_OK;
}

bool CSteppedClock::MoveAndWaitForTick(REFERENCE_TIME time, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(m_mutex);
    const long readsBefore = m_reads;
    m_time.store(time);
    return m_read.wait_for(lock, timeout, [&] { return m_reads >= readsBefore + 3; });
}
