#include "support/trace/CTraceLock.h"

#include <thread>

#include "zqplatform/sync.h"

namespace {

// Spins this often with a yield before sleeping: the lock is held for a copy
// into memory only, so a waiter almost always gets it within a few yields.
constexpr int kYieldsBeforeSleep = 64;

}  // namespace

bool CTraceLock::TryTake(DWORD self) noexcept {
    DWORD expected = 0;
    if (!m_Owner.compare_exchange_strong(expected, self, std::memory_order_acquire, std::memory_order_relaxed))
        return false;
    m_Count = 1;
    return true;
}

void CTraceLock::Enter() noexcept {
    DWORD self = GetCurrentThreadId();
    if (m_Owner.load(std::memory_order_relaxed) == self) {
        ++m_Count;
        return;
    }
    for (int attempt = 0; !TryTake(self); ++attempt) {
        if (attempt < kYieldsBeforeSleep)
            std::this_thread::yield();
        else
            Sleep(1);
    }
}

bool CTraceLock::TryEnter() noexcept {
    DWORD self = GetCurrentThreadId();
    if (m_Owner.load(std::memory_order_relaxed) == self) {
        ++m_Count;
        return true;
    }
    return TryTake(self);
}

void CTraceLock::Leave() noexcept {
    if (--m_Count == 0)
        m_Owner.store(0, std::memory_order_release);
}
