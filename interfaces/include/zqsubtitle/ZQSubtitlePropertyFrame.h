// A property frame for programs that show a property page of the module
// without a frame of their own: a modal window with the page and the buttons
// OK, Cancel and Apply. It is the one export of the Qt presentation library
// libZQSubtitleQt.so (beside the module), which a program loads at run time
// (LoadLibraryW, GetProcAddress "ZQCreatePropertyFrame").
//
// The program keeps the page's site and the object the page is bound to:
//
//     page->SetPageSite(mySite);          // mySite passes OnStatusChange on
//     page->SetObjects(1, &myObject);     // to IZQPropertyFrame::OnStatusChange
//     frame->Run(&params, &result);       // IDOK or IDCANCEL
//     page->SetObjects(0, &none);         // takes back what wasn't applied
#pragma once

#include "zqplatform/ocidl.h"

ZQ_DECLARE_INTERFACE_IID(IZQPropertyFrame, 0x2A7400ED, 0x60A6, 0x4EE3, 0xBB, 0x52, 0xB4, 0x10, 0x57, 0xDD, 0x38, 0x58);

/// What the frame shows and how it ends.
struct ZQPROPERTYFRAMEPARAMS {
    ULONG cbStruct;          ///< sizeof(ZQPROPERTYFRAMEPARAMS)
    HWND hwndOwner;          ///< a QWidget* the window is modal to, or null
    LPCOLESTR lpszCaption;   ///< the window's title
    IPropertyPage* page;     ///< bound to its object, with its site set
    /// Optional: a PNG of the window is written here once it is shown.
    LPCOLESTR lpszScreenshot;
    /// 0: the user closes the window. IDOK or IDCANCEL: the frame presses
    /// that button itself once the window is shown (for scripts).
    LONG closeWith;
};

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// The frame window. Used on the thread that runs it, which becomes the
/// toolkit's GUI thread if the process has no application object yet.
struct IZQPropertyFrame : IUnknown {
    /// What the page's site was told: PROPPAGESTATUS_DIRTY enables Apply,
    /// PROPPAGESTATUS_CLEAN disables it. S_OK, also while no window is shown.
    virtual HRESULT OnStatusChange(DWORD flags) = 0;
    /// Shows the page modal until the user closes the window: OK applies
    /// (a failed Apply is shown and the window stays), Apply applies, Cancel,
    /// Escape and the window's close button leave without applying. The page
    /// is activated in the window and deactivated before this returns.
    /// `*result` is IDOK or IDCANCEL. E_POINTER, E_INVALIDARG for a bad
    /// `params`; E_UNEXPECTED when no window can be shown (no display); the
    /// page's failure in GetPageInfo or Activate.
    virtual HRESULT Run(const ZQPROPERTYFRAMEPARAMS* params, LONG* result) = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

/// The export of libZQSubtitleQt.so, C linkage: a new frame with one
/// reference for the caller. E_POINTER, E_OUTOFMEMORY.
using ZQCreatePropertyFrameFunction = HRESULT (*)(IZQPropertyFrame** frame);
inline constexpr char kZQCreatePropertyFrameEntry[] = "ZQCreatePropertyFrame";
/// The library's file name, in the module's folder.
inline constexpr char16_t kZQPresentationLibraryName[] = u"libZQSubtitleQt.so";
