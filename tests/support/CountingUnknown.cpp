#include "tests/support/CountingUnknown.h"

#include <gtest/gtest.h>

namespace zqtest {

HRESULT CountingUnknown::QueryInterface(REFIID iid, void** out) {
    m_queries.fetch_add(1);
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (iid != IID_IUnknown)
        return E_NOINTERFACE;
    AddRef();
    *out = static_cast<IUnknown*>(this);
    return S_OK;
}

ULONG CountingUnknown::AddRef() {
    m_addRefs.fetch_add(1);
    return static_cast<ULONG>(m_references.fetch_add(1) + 1);
}

ULONG CountingUnknown::Release() {
    m_releases.fetch_add(1);
    LONG count = m_references.fetch_sub(1) - 1;
    // A release past zero is the fault under test, not a state to go on from.
    if (count < 0)
        ADD_FAILURE() << "CountingUnknown released more often than it was referenced";
    return static_cast<ULONG>(count);
}

}  // namespace zqtest
