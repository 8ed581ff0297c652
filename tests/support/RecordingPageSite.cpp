#include "tests/support/RecordingPageSite.h"

#include "zqsubtitle/ZQSubtitle.h"

namespace zqtest {

HRESULT RecordingPageSite::OnStatusChange(DWORD dwFlags) {
    m_changes.push_back(dwFlags);
    return S_OK;
}

HRESULT RecordingPageSite::GetLocaleID(LCID* pLocaleID) {
    if (pLocaleID == nullptr)
        return E_POINTER;
    *pLocaleID = 0x0409;
    return S_OK;
}

HRESULT RecordingPageSite::GetPageContainer(IUnknown** ppUnk) {
    if (ppUnk != nullptr)
        *ppUnk = nullptr;
    return E_NOTIMPL;
}

HRESULT RecordingPageSite::TranslateAccelerator(MSG* /*pMsg*/) {
    return S_FALSE;
}

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
