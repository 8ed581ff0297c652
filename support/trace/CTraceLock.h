#pragma once

#include <atomic>

#include "zqplatform/types.h"

/// A recursive lock that records its owner thread and how often it holds it,
/// and that can be tried without waiting. It needs neither set-up nor
/// tear-down, so it may live in memory that several copies of the trace code
/// share and in static objects that outlive the platform's own. Any thread
/// may use it; the thread that entered it leaves it.
class CTraceLock {
public:
    constexpr CTraceLock() noexcept = default;
    CTraceLock(const CTraceLock&) = delete;
    CTraceLock& operator=(const CTraceLock&) = delete;

    /// Waits until the lock is free or already the caller's.
    void Enter() noexcept;
    /// Takes the lock if it is free or already the caller's; false at once
    /// if another thread owns it.
    bool TryEnter() noexcept;
    /// Gives back one Enter or successful TryEnter of the owner.
    void Leave() noexcept;

    /// Holds the lock for a scope.
    class CAutoLock {
    public:
        explicit CAutoLock(CTraceLock& lock) noexcept : m_lock(lock) { m_lock.Enter(); }
        ~CAutoLock() { m_lock.Leave(); }
        CAutoLock(const CAutoLock&) = delete;
        CAutoLock& operator=(const CAutoLock&) = delete;

    private:
        CTraceLock& m_lock;
    };

private:
    bool TryTake(DWORD self) noexcept;

    std::atomic<DWORD> m_Owner{0};  // thread id of the owner, 0 when free
    LONG m_Count = 0;               // Enter calls of the owner; only the owner touches it
};
