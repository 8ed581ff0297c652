#include "support/CZQSubtitleModule.h"

CZQSubtitleModule* g_pZQSubtitleModule = nullptr;

CZQSubtitleModule::CZQSubtitleModule() noexcept {
    g_pZQSubtitleModule = this;
    m_firstUseReady = InitializeCriticalSectionEx(&m_csFirstUse, 0, 0) != FALSE;
    if (!m_firstUseReady) {
        HRESULT hr = HRESULT_FROM_WIN32(GetLastError());
        // A failure without an error number still has to read as a failure.
        m_initStatus = FAILED(hr) ? hr : E_OUTOFMEMORY;
    }
}

CZQSubtitleModule::~CZQSubtitleModule() {
    if (m_firstUseReady)
        DeleteCriticalSection(&m_csFirstUse);
    m_firstUseReady = false;
    if (g_pZQSubtitleModule == this)
        g_pZQSubtitleModule = nullptr;
}

LONG CZQSubtitleModule::Lock() noexcept {
    return m_lockCount.fetch_add(1, std::memory_order_acq_rel) + 1;
}

LONG CZQSubtitleModule::Unlock() noexcept {
    return m_lockCount.fetch_sub(1, std::memory_order_acq_rel) - 1;
}

LONG CZQSubtitleModule::GetLockCount() const noexcept {
    return m_lockCount.load(std::memory_order_acquire);
}

void CZQSubtitleModule::EnterFirstUse() noexcept {
    if (m_firstUseReady)
        EnterCriticalSection(&m_csFirstUse);
}

void CZQSubtitleModule::LeaveFirstUse() noexcept {
    if (m_firstUseReady)
        LeaveCriticalSection(&m_csFirstUse);
}

CZQSubtitleModule& ZQModule() noexcept {
    // Made on first use, so that static objects of other files may reach the
    // module while they are being initialised.
    static CZQSubtitleModule s_module;
    return s_module;
}

namespace {

// Makes the module object at load even if no one asks for it before the
// first entry point, so that a failed construction can refuse the load.
[[maybe_unused]] const bool kModuleMadeAtLoad = (ZQModule(), true);

}  // namespace
