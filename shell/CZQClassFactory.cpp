#include "shell/CZQClassFactory.h"

#include "support/CZQSubtitleModule.h"

HRESULT CZQClassFactory::CreateInstance(IUnknown* outer, REFIID iid, void** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    // An outer object may only ask for the inner unknown: any other interface
    // would count on the inner object and never reach the outer one.
    if (outer != nullptr && iid != IID_IUnknown)
        return CLASS_E_NOAGGREGATION;
    return ZQCallWithBarrier([&] { return m_create(outer, iid, out); });
}

HRESULT CZQClassFactory::LockServer(BOOL lock) noexcept {
    if (lock)
        ZQModule().Lock();
    else
        ZQModule().Unlock();
    return S_OK;
}
