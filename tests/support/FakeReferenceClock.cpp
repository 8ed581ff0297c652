#include "tests/support/FakeReferenceClock.h"

#include <gtest/gtest.h>

#include <cmath>
#include <utility>

namespace zqtest {

HRESULT FakeReferenceClock::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown && iid != IID_IReferenceClock)
        return E_NOINTERFACE;
    AddRef();
    *out = static_cast<IReferenceClock*>(this);
    return S_OK;
}

ULONG FakeReferenceClock::AddRef() {
    return static_cast<ULONG>(m_references.fetch_add(1) + 1);
}

ULONG FakeReferenceClock::Release() {
    const LONG count = m_references.fetch_sub(1) - 1;
    if (count < 0)
        ADD_FAILURE() << "FakeReferenceClock released more often than it was referenced";
    return static_cast<ULONG>(count);
}

HRESULT FakeReferenceClock::GetTime(REFERENCE_TIME* pTime) {
    m_calls.fetch_add(1);
    Hook hook;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        hook = m_hook;
    }
    if (hook)
        hook();
    if (pTime == nullptr)
        return E_POINTER;
    const HRESULT status = m_status.load();
    if (SUCCEEDED(status) || m_writeOnFailure.load())
        *pTime = m_time.load();
    return status;
}

void FakeReferenceClock::SetSeconds(double seconds) noexcept {
    m_time.store(static_cast<REFERENCE_TIME>(std::llround(seconds * 10000000.0)));
}

void FakeReferenceClock::SetFailure(HRESULT status, bool writeTime) noexcept {
    m_writeOnFailure.store(writeTime);
    m_status.store(status);
}

void FakeReferenceClock::SetHook(Hook hook) {
    std::lock_guard<std::mutex> lock(m_mutex);
    m_hook = std::move(hook);
}

}  // namespace zqtest
