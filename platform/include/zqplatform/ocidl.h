// Property pages: IPropertyPage, which a page object serves, IPropertyPageSite,
// which the frame that shows it gives it, and PROPPAGEINFO.
//
// In IPropertyPage::Activate the parent HWND is a QWidget* of the frame, or
// null for a top-level window: on this platform pages are Qt widgets.
#pragma once

#include "zqplatform/unknwn.h"
#include "zqplatform/winuser.h"

ZQ_DECLARE_INTERFACE_IID(IPropertyPage, 0xB196B28D, 0xBAB4, 0x101A, 0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D, 0x07);
ZQ_DECLARE_INTERFACE_IID(IPropertyPageSite, 0xB196B28C, 0xBAB4, 0x101A, 0xB6, 0x9C, 0x00, 0xAA, 0x00, 0x34, 0x1D,
                         0x07);

/// What a page tells its frame of itself, usual layout. The strings are
/// allocated with CoTaskMemAlloc and freed by the frame; null where the page
/// has none.
struct PROPPAGEINFO {
    ULONG cb;
    LPOLESTR pszTitle;
    SIZE size;
    LPOLESTR pszDocString;
    LPOLESTR pszHelpFile;
    DWORD dwHelpContext;
};

static_assert(offsetof(PROPPAGEINFO, pszTitle) == 8 && offsetof(PROPPAGEINFO, size) == 16);
static_assert(offsetof(PROPPAGEINFO, pszDocString) == 24 && offsetof(PROPPAGEINFO, pszHelpFile) == 32);
static_assert(offsetof(PROPPAGEINFO, dwHelpContext) == 40 && sizeof(PROPPAGEINFO) == 48);

/// Flags of IPropertyPageSite::OnStatusChange.
inline constexpr DWORD PROPPAGESTATUS_DIRTY = 0x1;
inline constexpr DWORD PROPPAGESTATUS_VALIDATE = 0x2;
inline constexpr DWORD PROPPAGESTATUS_CLEAN = 0x4;

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// The frame's side of one page.
struct IPropertyPageSite : IUnknown {
    virtual HRESULT OnStatusChange(DWORD dwFlags) = 0;
    virtual HRESULT GetLocaleID(LCID* pLocaleID) = 0;
    virtual HRESULT GetPageContainer(IUnknown** ppUnk) = 0;
    virtual HRESULT TranslateAccelerator(MSG* pMsg) = 0;
};

/// A page that a frame shows, binds to objects and applies.
struct IPropertyPage : IUnknown {
    virtual HRESULT SetPageSite(IPropertyPageSite* pPageSite) = 0;
    virtual HRESULT Activate(HWND hWndParent, const RECT* pRect, BOOL bModal) = 0;
    virtual HRESULT Deactivate() = 0;
    virtual HRESULT GetPageInfo(PROPPAGEINFO* pPageInfo) = 0;
    virtual HRESULT SetObjects(ULONG cObjects, IUnknown** ppUnk) = 0;
    virtual HRESULT Show(UINT nCmdShow) = 0;
    virtual HRESULT Move(const RECT* pRect) = 0;
    virtual HRESULT IsPageDirty() = 0;
    virtual HRESULT Apply() = 0;
    virtual HRESULT Help(LPCOLESTR pszHelpDir) = 0;
    virtual HRESULT TranslateAccelerator(MSG* pMsg) = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
