// The module object: the lock count that decides when the module may be
// unloaded, and the lock for first-use work.
#pragma once

#include <atomic>

#include "zqplatform/status.h"
#include "zqplatform/sync.h"
#include "zqplatform/types.h"

/// The one module object of this copy of the code, made at load (or at the
/// first call of ZQModule(), whichever comes first) and reached by every class
/// through ZQModule(). Any thread may call it: the lock count is atomic and
/// the first-use lock is a recursive lock.
class CZQSubtitleModule {
public:
    CZQSubtitleModule() noexcept;
    ~CZQSubtitleModule();

    CZQSubtitleModule(const CZQSubtitleModule&) = delete;
    CZQSubtitleModule& operator=(const CZQSubtitleModule&) = delete;

    /// Raises the lock count and answers the new value.
    LONG Lock() noexcept;
    /// Lowers the lock count and answers the new value.
    LONG Unlock() noexcept;
    /// The present lock count; the module may go when it is 0.
    LONG GetLockCount() const noexcept;

    /// S_OK if the module's locks were created, else the platform's error as a
    /// status. A module whose construction failed refuses to load.
    HRESULT GetInitStatus() const noexcept { return m_initStatus; }

    /// Enters and leaves the first-use lock (recursive), which serialises
    /// one-time work such as loading type information.
    void EnterFirstUse() noexcept;
    void LeaveFirstUse() noexcept;

    /// Holds the first-use lock for a scope.
    class FirstUseLock {
    public:
        explicit FirstUseLock(CZQSubtitleModule& module) noexcept : m_module(module) { m_module.EnterFirstUse(); }
        ~FirstUseLock() { m_module.LeaveFirstUse(); }
        FirstUseLock(const FirstUseLock&) = delete;
        FirstUseLock& operator=(const FirstUseLock&) = delete;

    private:
        CZQSubtitleModule& m_module;
    };

    /// The GUID of the module's type library; set by the shell, GUID_NULL
    /// until then.
    GUID m_libid = GUID_NULL;

private:
    std::atomic<LONG> m_lockCount{0};
    HRESULT m_initStatus = S_OK;
    bool m_firstUseReady = false;
    // Guards one-time initialisation work of the module's users; taken last,
    // after any object lock.
    CRITICAL_SECTION m_csFirstUse;
};

/// The module object of this copy of the code; set by its constructor.
extern CZQSubtitleModule* g_pZQSubtitleModule;

/// The module object. Safe to call during the static initialisation of other
/// files: the object is made on first use.
CZQSubtitleModule& ZQModule() noexcept;
