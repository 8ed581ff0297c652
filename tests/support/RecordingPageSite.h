// A property frame's fakes: the site a page reports to, and the object the
// frame hands the page, which serves the multiplexer as a service.
#pragma once

#include <vector>

#include "zqplatform/comptr.h"
#include "zqplatform/ocidl.h"
#include "zqplatform/servprov.h"
#include "zqplatform/unknownimpl.h"

namespace zqtest {

/// A site that records every OnStatusChange in order. A stack or member
/// object; its owner checks References() before it goes. One thread.
class RecordingPageSite final : public CUnknownImpl<ZQLifetime::Borrowed, IPropertyPageSite> {
public:
    HRESULT OnStatusChange(DWORD dwFlags) override {
        m_changes.push_back(dwFlags);
        return S_OK;
    }
    HRESULT GetLocaleID(LCID*) override { return E_NOTIMPL; }
    HRESULT GetPageContainer(IUnknown**) override { return E_NOTIMPL; }
    HRESULT TranslateAccelerator(MSG*) override { return S_FALSE; }

    const std::vector<DWORD>& StatusChanges() const noexcept { return m_changes; }

private:
    std::vector<DWORD> m_changes;
};

/// The host's object that a frame binds a page to: serves `service` (the
/// multiplexer, asked for by its class id) through IServiceProvider and
/// counts the questions. A stack or member object. One thread.
class FakeServiceProvider final : public CUnknownImpl<ZQLifetime::Borrowed, IServiceProvider> {
public:
    /// Serves `service`, or nothing for null (a host whose multiplexer is gone).
    void Serve(IUnknown* service) { m_service = service; }

    /// The service's interface for the class id of ZQMuxSubtitle; E_NOINTERFACE
    /// for any other service or when nothing is served.
    HRESULT QueryService(REFGUID guidService, REFIID riid, void** ppvObject) override;

    int QueryServiceCalls() const noexcept { return m_queries; }

private:
    CComPtr<IUnknown> m_service;
    int m_queries = 0;
};

}  // namespace zqtest
