#include "ui/CZQMuxSubtitlePropPage.h"

#include <algorithm>
#include <numeric>
#include <string>
#include <utility>

#include "support/CStatusException.h"
#include "support/ZQCreateInstance.h"
#include "ui/CZQMuxSubtitleAddTrackDlg.h"
#include "ui/CZQViewLibrary.h"
#include "zqplatform/bstr.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/servprov.h"
#include "zqplatform/text.h"

namespace {

// The page's string table; 104, the help file, doesn't exist.
constexpr UINT kModuleNameID = 100;
constexpr UINT kTitleID = 103;
constexpr UINT kHelpFileID = 104;
constexpr UINT kDocStringID = 105;
constexpr DWORD kHelpContext = 0;

const char16_t* LoadPageString(UINT id) noexcept {
    switch (id) {
    case kModuleNameID:
        return u"ZQSubtitle";
    case kTitleID:
        return u"Subtitles";
    case kDocStringID:
        return u"Multiplexer Subtitle Properties";
    default:
        return nullptr;
    }
}

/// A copy of string `id` in task memory for the frame, or null when the
/// string doesn't exist. Raises E_OUTOFMEMORY.
LPOLESTR TaskMemoryString(UINT id) {
    const char16_t* text = LoadPageString(id);
    if (text == nullptr)
        return nullptr;
    const size_t units = std::char_traits<char16_t>::length(text) + 1;
    auto* copy = static_cast<LPOLESTR>(CoTaskMemAlloc(units * sizeof(OLECHAR)));
    if (copy == nullptr)
        ZQThrowStatus(E_OUTOFMEMORY);
    std::char_traits<char16_t>::copy(copy, text, units);
    return copy;
}

/// The base units of the templates' font (8 points at 96 dots per inch)
/// where no font can be measured yet.
constexpr LONG kFallbackBaseUnitX = 6;
constexpr LONG kFallbackBaseUnitY = 13;

/// The width `W` of 64 dialog units from which the columns are cut.
constexpr int kColumnUnit = 64;

/// A decimal number at the start of `text`, as the C library reads it:
/// blanks, a sign, digits; 0 without digits. Saturates instead of wrapping.
long long ReadDecimal(const std::u16string& text) noexcept {
    size_t i = 0;
    while (i < text.size() && ZQIsSpaceInline(text[i]))
        ++i;
    bool negative = false;
    if (i < text.size() && (text[i] == u'-' || text[i] == u'+'))
        negative = text[i++] == u'-';
    long long value = 0;
    for (; i < text.size() && text[i] >= u'0' && text[i] <= u'9'; ++i)
        value = std::min(value * 10 + (text[i] - u'0'), 1LL << 40);
    return negative ? -value : value;
}

std::u16string BstrText(const CComBSTR& text) {
    return std::u16string(text.View());
}

}  // namespace

void* CZQMuxSubtitlePropPage::GetInterface(REFIID iid) noexcept {
    return ZQFindInterface<IPropertyPage>(this, iid);
}

CZQMuxSubtitlePropPage::~CZQMuxSubtitlePropPage() {
    if (m_view != nullptr)
        std::exchange(m_view, nullptr)->Destroy();
}

HRESULT CZQMuxSubtitlePropPage::SetPageSite(IPropertyPageSite* pPageSite) noexcept {
    if (pPageSite == nullptr) {
        m_pageSite = nullptr;
        return S_OK;
    }
    if (m_pageSite)
        return E_UNEXPECTED;
    m_pageSite = pPageSite;
    return S_OK;
}

HRESULT CZQMuxSubtitlePropPage::Activate(HWND hWndParent, const RECT* pRect, BOOL /*bModal*/) noexcept {
    return ZQCallWithBarrier([&]() -> HRESULT {
        if (m_objects.empty())
            return E_UNEXPECTED;
        if (pRect == nullptr)
            return E_POINTER;
        if (m_view != nullptr)
            return E_UNEXPECTED;
        IZQViewFactory* factory = nullptr;
        HRESULT hr = GetViewFactory(&factory);
        if (FAILED(hr))
            return hr;
        IZQPageView* view = nullptr;
        hr = factory->CreatePageView(hWndParent, this, &view);
        if (FAILED(hr))
            return hr;
        if (view == nullptr)
            return E_UNEXPECTED;
        m_view = view;
        OnInitDialog();
        m_view->Move(*pRect);
        m_size = {pRect->right - pRect->left, pRect->bottom - pRect->top};
        CComPtr<IZQMuxSubtitle> mux;
        if (FAILED(GetMux(&mux)))
            return E_UNEXPECTED;
        return S_OK;
    });
}

HRESULT CZQMuxSubtitlePropPage::Deactivate() noexcept {
    if (m_view != nullptr)
        std::exchange(m_view, nullptr)->Destroy();
    return S_OK;
}

HRESULT CZQMuxSubtitlePropPage::GetPageInfo(PROPPAGEINFO* pPageInfo) noexcept {
    if (pPageInfo == nullptr)
        return E_POINTER;
    return ZQCallWithBarrier([&] {
        SIZE size = kZQPageTemplateSize;
        IZQViewFactory* factory = nullptr;
        if (FAILED(GetViewFactory(&factory)) || !factory->DialogUnitsToPixels(size)) {
            size = {kZQPageTemplateSize.cx * kFallbackBaseUnitX / 4, kZQPageTemplateSize.cy * kFallbackBaseUnitY / 8};
        }
        m_size = size;
        PROPPAGEINFO info{};
        // The structure's own size: 48 bytes here, where pointers are 64 bits.
        info.cb = sizeof(PROPPAGEINFO);
        info.size = m_size;
        info.dwHelpContext = kHelpContext;
        try {
            info.pszTitle = TaskMemoryString(kTitleID);
            info.pszDocString = TaskMemoryString(kDocStringID);
            info.pszHelpFile = TaskMemoryString(kHelpFileID);
        } catch (...) {
            CoTaskMemFree(info.pszTitle);
            CoTaskMemFree(info.pszDocString);
            throw;
        }
        *pPageInfo = info;
    });
}

HRESULT CZQMuxSubtitlePropPage::SetObjects(ULONG cObjects, IUnknown** ppUnk) noexcept {
    return ZQCallWithBarrier([&]() -> HRESULT {
        if (cObjects == 1) {
            if (ppUnk == nullptr || ppUnk[0] == nullptr)
                return E_INVALIDARG;
            CComPtr<IServiceProvider> provider;
            if (FAILED(ZQQueryInterface(ppUnk[0], &provider)) || !provider)
                return E_INVALIDARG;
            CComPtr<IZQMuxSubtitle> mux;
            const HRESULT hr = provider->QueryService(CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitle,
                                                      reinterpret_cast<void**>(&mux));
            if (!mux)
                return FAILED(hr) ? hr : E_NOINTERFACE;
            // While the multiplexer runs this refuses, so the page can't bind then.
            const HRESULT entered = mux->EnterEdit();
            if (FAILED(entered))
                return entered;
            std::vector<CComPtr<IUnknown>> objects{CComPtr<IUnknown>(ppUnk[0])};
            m_objects.swap(objects);
            return S_OK;
        }
        if (cObjects != 0)
            return E_INVALIDARG;
        if (!m_objects.empty()) {
            CComPtr<IZQMuxSubtitle> mux;
            // Takes back whatever wasn't applied; there is nobody to tell of a failure.
            if (SUCCEEDED(GetMux(&mux)))
                mux->LeaveEdit(VARIANT_TRUE);
        }
        if (ppUnk == nullptr)
            return E_POINTER;
        m_objects.clear();
        return S_OK;
    });
}

HRESULT CZQMuxSubtitlePropPage::Show(UINT nCmdShow) noexcept {
    if (m_view == nullptr)
        return E_UNEXPECTED;
    return ZQCallWithBarrier([&] { m_view->Show(static_cast<int>(nCmdShow)); });
}

HRESULT CZQMuxSubtitlePropPage::Move(const RECT* pRect) noexcept {
    if (m_view == nullptr)
        return E_UNEXPECTED;
    if (pRect == nullptr)
        return E_POINTER;
    return ZQCallWithBarrier([&] { m_view->Move(*pRect); });
}

HRESULT CZQMuxSubtitlePropPage::IsPageDirty() noexcept {
    return m_dirty ? S_OK : S_FALSE;
}

HRESULT CZQMuxSubtitlePropPage::Apply() noexcept {
    return ZQCallWithBarrier([&]() -> HRESULT {
        if (m_objects.empty())
            return E_UNEXPECTED;
        if (!m_dirty)
            return S_OK;
        CComPtr<IZQMuxSubtitle> mux;
        if (FAILED(GetMux(&mux)))
            return E_UNEXPECTED;
        HRESULT hr = mux->LeaveEdit(VARIANT_FALSE);
        if (FAILED(hr))
            return hr;
        // A new bracket at once: the next discard goes back to this state.
        hr = mux->EnterEdit();
        if (FAILED(hr))
            return hr;
        m_dirty = false;
        if (m_pageSite)
            m_pageSite->OnStatusChange(PROPPAGESTATUS_CLEAN);
        return S_OK;
    });
}

HRESULT CZQMuxSubtitlePropPage::Help(LPCOLESTR /*pszHelpDir*/) noexcept {
    // The help file's string (104) doesn't exist, and a string that can't be
    // loaded reads as memory that couldn't be had: nothing is shown.
    return E_OUTOFMEMORY;
}

HRESULT CZQMuxSubtitlePropPage::TranslateAccelerator(MSG* pMsg) noexcept {
    if (pMsg == nullptr)
        return E_POINTER;
    const bool keyboard = pMsg->message >= WM_KEYFIRST && pMsg->message <= WM_KEYLAST;
    const bool mouse = pMsg->message >= WM_MOUSEFIRST && pMsg->message <= WM_MOUSELAST;
    if (!keyboard && !mouse)
        return S_FALSE;
    return ZQCallWithBarrier([&] { return m_view != nullptr && m_view->IsDialogMessage(*pMsg) ? S_OK : S_FALSE; });
}

void CZQMuxSubtitlePropPage::OnAddClicked() {
    ZQCallWithBarrier([&] { OnAdd(std::u16string()); });
}

void CZQMuxSubtitlePropPage::OnRemoveClicked() {
    ZQCallWithBarrier([&] { OnRemove(); });
}

void CZQMuxSubtitlePropPage::OnColumnClicked(int column) {
    ZQCallWithBarrier([&] { OnColumnClick(column); });
}

void CZQMuxSubtitlePropPage::OnSelectionChanged() {
    ZQCallWithBarrier([&] { UpdateRemoveButton(); });
}

void CZQMuxSubtitlePropPage::OnFileDropped(const std::u16string& path) {
    ZQCallWithBarrier([&] { OnAdd(path); });
}

HRESULT CZQMuxSubtitlePropPage::GetMux(IZQMuxSubtitle** mux) const noexcept {
    if (mux == nullptr)
        return E_POINTER;
    *mux = nullptr;
    if (m_objects.empty())
        return E_UNEXPECTED;
    CComPtr<IServiceProvider> provider;
    if (FAILED(ZQQueryInterface(m_objects.front().Get(), &provider)) || !provider)
        return E_UNEXPECTED;
    return provider->QueryService(CLSID_ZQMuxSubtitle, IID_IZQMuxSubtitle, reinterpret_cast<void**>(mux));
}

HRESULT CZQMuxSubtitlePropPage::GetViewFactory(IZQViewFactory** factory) const noexcept {
    if (m_viewFactory != nullptr) {
        *factory = m_viewFactory;
        return S_OK;
    }
    return CZQViewLibrary::GetFactory(factory);
}

void CZQMuxSubtitlePropPage::MarkDirty() {
    if (m_dirty)
        return;
    m_dirty = true;
    if (m_pageSite)
        m_pageSite->OnStatusChange(PROPPAGESTATUS_DIRTY);
}

void CZQMuxSubtitlePropPage::OnInitDialog() {
    RECT unit = {0, 0, kColumnUnit, kColumnUnit};
    m_view->MapDialogRect(unit);
    const int width = unit.right;
    m_view->InsertColumn(0, kZQTrackColumns[0], width * 16 / kColumnUnit);
    m_view->InsertColumn(1, kZQTrackColumns[1], width);
    m_view->InsertColumn(2, kZQTrackColumns[2], width * 160 / kColumnUnit);
    RefreshList();
    UpdateRemoveButton();
    m_view->FocusFirstControl();
}

void CZQMuxSubtitlePropPage::RefreshList() {
    CComPtr<IZQMuxSubtitle> mux;
    if (FAILED(GetMux(&mux)) || m_view == nullptr)
        return;
    CComPtr<IZQSubtitleTrackList> tracks;
    mux->get_TextTracks(&tracks);
    m_view->DeleteAllItems();
    LONG count = 0;
    if (tracks)
        tracks->get_Count(&count);
    for (LONG index = 0; index < count; ++index) {
        // A read that fails leaves its text empty and its id 0.
        CComPtr<IZQSubtitleTrack> track;
        tracks->GetTrack(index, &track);
        CComBSTR label;
        CComBSTR language;
        LONG id = 0;
        if (track) {
            track->get_Label(&label);
            track->get_LanguageName(&language);
            track->get_ID(&id);
        }
        const std::string number = std::to_string(static_cast<long>(index) + 1);
        const int item = m_view->InsertItem(index, std::u16string(number.begin(), number.end()), id);
        m_view->SetItemText(item, 1, BstrText(label));
        m_view->SetItemText(item, 2, BstrText(language));
    }
    m_view->SetSortColumn(m_sortColumn, m_sortAscending);
    SortItems();
}

void CZQMuxSubtitlePropPage::SortItems() {
    std::vector<int> order(static_cast<size_t>(std::max(0, m_view->GetItemCount())));
    std::iota(order.begin(), order.end(), 0);
    std::stable_sort(order.begin(), order.end(), [this](int a, int b) { return CompareItems(a, b) < 0; });
    m_view->ArrangeItems(order);
}

int CZQMuxSubtitlePropPage::CompareItems(int item1, int item2) const {
    int result = CompareColumn(m_sortColumn, item1, item2);
    // So a sort on Label or Language falls back to the position, in the
    // direction of the sort.
    for (int column = 0; column < static_cast<int>(std::size(kZQTrackColumns)) && result == 0; ++column) {
        if (column != m_sortColumn)
            result = CompareColumn(column, item1, item2);
    }
    return result;
}

int CZQMuxSubtitlePropPage::CompareColumn(int column, int item1, int item2) const {
    const std::u16string first = m_view->GetItemText(item1, column);
    const std::u16string second = m_view->GetItemText(item2, column);
    int result = 0;
    if (column == 0) {
        // The position is a number: 10 comes after 9.
        const long long difference = ReadDecimal(first) - ReadDecimal(second);
        result = difference < 0 ? -1 : difference > 0 ? 1 : 0;
    } else {
        result = lstrcmpiW(first.c_str(), second.c_str());
    }
    return m_sortAscending ? result : -result;
}

void CZQMuxSubtitlePropPage::OnColumnClick(int column) {
    if (m_view == nullptr || column < 0 || column >= static_cast<int>(std::size(kZQTrackColumns)))
        return;
    m_sortAscending = column == m_sortColumn ? !m_sortAscending : true;
    m_sortColumn = column;
    m_view->SetSortColumn(m_sortColumn, m_sortAscending);
    SortItems();
}

void CZQMuxSubtitlePropPage::OnAdd(const std::u16string& path) {
    // The frame may let the page go while the dialog runs.
    CComPtr<IPropertyPage> self(this);
    CComPtr<IZQMuxSubtitle> mux;
    if (FAILED(GetMux(&mux)))
        return;
    IZQViewFactory* factory = nullptr;
    if (FAILED(GetViewFactory(&factory)))
        return;
    CZQMuxSubtitleAddTrackDlg dialog(mux.Get());
    dialog.m_path = path;
    if (dialog.DoModal(*factory, m_view) != IDOK)
        return;
    // The track is in the multiplexer now, whether or not the window still is.
    if (m_view != nullptr) {
        RefreshList();
        int index = -1;
        for (int item = 0; item < m_view->GetItemCount(); ++item) {
            if (m_view->GetItemData(item) == dialog.m_trackid) {
                index = item;
                break;
            }
        }
        SelectItem(index);
        m_view->EnsureVisible(index);
        UpdateRemoveButton();
    }
    MarkDirty();
}

void CZQMuxSubtitlePropPage::OnRemove() {
    CComPtr<IZQMuxSubtitle> mux;
    if (FAILED(GetMux(&mux)) || m_view == nullptr)
        return;
    int index = m_view->GetSelectedItem();
    if (index < 0)
        return;
    mux->RemoveTrack(static_cast<LONG>(m_view->GetItemData(index)));
    RefreshList();
    // The selection stays at its place, or moves to the new last item; an
    // emptied list ends with none.
    while (index >= 0 && !SelectItem(index))
        --index;
    m_view->EnsureVisible(index);
    UpdateRemoveButton();
    MarkDirty();
}

bool CZQMuxSubtitlePropPage::SelectItem(int index) {
    const int count = m_view->GetItemCount();
    for (int item = 0; item < count; ++item)
        m_view->SetItemSelected(item, item == index);
    return index >= 0 && index < count;
}

void CZQMuxSubtitlePropPage::UpdateRemoveButton() {
    if (m_view != nullptr)
        m_view->EnableRemove(m_view->GetSelectedItem() >= 0);
}

HRESULT ZQCreateMuxSubtitlePropPage(IUnknown* outer, REFIID iid, void** out) {
    return ZQCreateInstance<CZQMuxSubtitlePropPage>(outer, iid, out);
}
