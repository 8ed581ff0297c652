// The property page of a multiplexer: its text tracks in a sortable list,
// with Add... and Remove, changes bracketed so that only Apply keeps them.
#pragma once

#include <vector>

#include "support/CComObjectRoot.h"
#include "ui/ZQSubtitleViews.h"
#include "zqplatform/comptr.h"
#include "zqplatform/ocidl.h"
#include "zqsubtitle/ZQSubtitle.h"

ZQ_BEGIN_INTERFACE_CLASS

/// The object of the class ZQMuxSubtitlePropPage, made as CComObject or
/// aggregated (ZQCreateMuxSubtitlePropPage). A property frame gives it a site
/// and one object of the host; the page asks that object's IServiceProvider
/// for the multiplexer anew each time it needs it, and never keeps it. Binding
/// opens an edit bracket in the multiplexer (EnterEdit), Apply closes and
/// reopens it, and unbinding discards what wasn't applied. The window is a
/// view of the presentation library (IZQPageView), made by Activate and ended
/// by Deactivate. Used from the frame's thread only, in its event loop; the
/// page takes no lock, and the modal dialog runs inside OnAdd.
class CZQMuxSubtitlePropPage : public IPropertyPage, public IZQPageViewEvents, public CComObjectRootEx {
public:
    /// Identity table: IPropertyPage (also for IUnknown).
    void* GetInterface(REFIID iid) noexcept;

    /// Makes the windows with `factory` instead of the presentation library,
    /// which is loaded beside the module at first need. Borrowed: it must
    /// outlive the page. For a frame of its own or a test.
    void SetViewFactory(IZQViewFactory* factory) noexcept { m_viewFactory = factory; }

    // IPropertyPage.
    /// Holds a non-null site (E_UNEXPECTED if one is held); null releases it.
    HRESULT SetPageSite(IPropertyPageSite* pPageSite) noexcept override;
    /// Makes the window in `hWndParent` (a QWidget*, or null for a top-level
    /// window), fills the list and places it at `pRect`. E_UNEXPECTED without
    /// an object or while a window exists; E_POINTER for a null `pRect`; the
    /// presentation's failure (0x8007007E when its library can't be loaded);
    /// E_UNEXPECTED, with the window left in place, when the object serves no
    /// multiplexer.
    HRESULT Activate(HWND hWndParent, const RECT* pRect, BOOL bModal) noexcept override;
    /// Ends the window, if any. S_OK.
    HRESULT Deactivate() noexcept override;
    /// Title "Subtitles", description "Multiplexer Subtitle Properties", no
    /// help file, the template's size in pixels of its font (of a common
    /// dialog font before the presentation can measure one). E_POINTER.
    HRESULT GetPageInfo(PROPPAGEINFO* pPageInfo) noexcept override;
    /// One object: it must serve the multiplexer through IServiceProvider
    /// (else E_INVALIDARG, or the service's failure), whose EnterEdit must
    /// succeed (else its status, and nothing is kept). No object: discards
    /// the edits not applied (LeaveEdit(VARIANT_TRUE)) and lets the object go;
    /// a null `ppUnk` gives E_POINTER after the discard and keeps it. Other
    /// counts: E_INVALIDARG.
    HRESULT SetObjects(ULONG cObjects, IUnknown** ppUnk) noexcept override;
    /// E_UNEXPECTED without a window.
    HRESULT Show(UINT nCmdShow) noexcept override;
    /// E_UNEXPECTED without a window; E_POINTER for a null `pRect`.
    HRESULT Move(const RECT* pRect) noexcept override;
    /// S_OK when changes wait for Apply, else S_FALSE.
    HRESULT IsPageDirty() noexcept override;
    /// Keeps the changes: LeaveEdit(0), then EnterEdit for the next ones, and
    /// tells the site the page is clean. S_OK without a call on a clean page;
    /// E_UNEXPECTED without an object or multiplexer; a failure of either
    /// call is the answer and the page stays dirty.
    HRESULT Apply() noexcept override;
    /// The page has no help file: E_OUTOFMEMORY, and nothing is shown.
    HRESULT Help(LPCOLESTR pszHelpDir) noexcept override;
    /// S_OK for a keyboard or mouse message that the window takes as dialog
    /// navigation, else S_FALSE. E_POINTER for null.
    HRESULT TranslateAccelerator(MSG* pMsg) noexcept override;

    // IZQPageViewEvents, from the window.
    void OnAddClicked() override;
    void OnRemoveClicked() override;
    void OnColumnClicked(int column) override;
    void OnSelectionChanged() override;
    /// Opens the dialog with the dropped file's path filled in.
    void OnFileDropped(const std::u16string& path) override;

protected:
    CZQMuxSubtitlePropPage() noexcept = default;
    ~CZQMuxSubtitlePropPage();

private:
    /// The multiplexer of the bound object, with a reference, or null:
    /// E_POINTER, E_UNEXPECTED without an object or its IServiceProvider, or
    /// the service's status.
    HRESULT GetMux(IZQMuxSubtitle** mux) const noexcept;
    HRESULT GetViewFactory(IZQViewFactory** factory) const noexcept;
    /// Tells the site of the change from clean to dirty, once.
    void MarkDirty();

    void OnInitDialog();
    /// Rebuilds the rows from the multiplexer's text tracks and sorts them.
    /// The selection is gone afterwards.
    void RefreshList();
    void SortItems();
    /// Orders two items by the sort column, then by the others from the
    /// left, all in the direction of the sort.
    int CompareItems(int item1, int item2) const;
    int CompareColumn(int column, int item1, int item2) const;
    void OnColumnClick(int column);
    /// Runs the dialog (`path` filled in), then selects the new track.
    void OnAdd(const std::u16string& path);
    /// Removes the selected track and keeps the selection at its place.
    void OnRemove();
    /// Selects the item at `index` alone; false when there is none.
    bool SelectItem(int index);
    void UpdateRemoveButton();

    // The frame's site; null until SetPageSite.
    CComPtr<IPropertyPageSite> m_pageSite;
    // The objects of SetObjects: one, or none.
    std::vector<CComPtr<IUnknown>> m_objects;
    // Width and height of the page in pixels.
    SIZE m_size = {0, 0};
    // Changes since the last Apply.
    bool m_dirty = false;
    // The window; null while not active.
    IZQPageView* m_view = nullptr;
    // Where windows come from; null for the presentation library.
    IZQViewFactory* m_viewFactory = nullptr;
    // The sort, kept as long as the page.
    int m_sortColumn = 0;
    bool m_sortAscending = true;
};

ZQ_END_INTERFACE_CLASS

/// Makes a page object for a client, as the class object of
/// ZQMuxSubtitlePropPage does: plain without `outer`, aggregated with it
/// (then `iid` must be IID_IUnknown). E_POINTER for a null `out`;
/// CLASS_E_NOAGGREGATION; E_OUTOFMEMORY; E_NOINTERFACE. Never throws.
HRESULT ZQCreateMuxSubtitlePropPage(IUnknown* outer, REFIID iid, void** out);
