#include "tests/support/RecordingPageSite.h"

#include "zqsubtitle/ZQSubtitle.h"

namespace zqtest {

HRESULT FakeServiceProvider::QueryService(REFGUID guidService, REFIID riid, void** ppvObject) {
    ++m_queries;
    if (ppvObject == nullptr)
        return E_POINTER;
    *ppvObject = nullptr;
    if (guidService != CLSID_ZQMuxSubtitle || !m_service)
        return E_NOINTERFACE;
    return m_service->QueryInterface(riid, ppvObject);
}

}  // namespace zqtest
