#include "ui/tests/FakeViews.h"

#include <algorithm>

namespace zquitest {

bool FakePageView::IsDialogMessage(const MSG& /*message*/) {
    ++m_dialogMessages;
    return m_takesDialogMessages;
}

void FakePageView::MapDialogRect(RECT& rect) {
    rect = {rect.left * kFakeBaseUnitX / 4, rect.top * kFakeBaseUnitY / 8, rect.right * kFakeBaseUnitX / 4,
            rect.bottom * kFakeBaseUnitY / 8};
}

void FakePageView::InsertColumn(int column, const char16_t* header, int widthInPixels) {
    m_columns.insert(m_columns.begin() + std::clamp(column, 0, static_cast<int>(m_columns.size())),
                     {header, widthInPixels});
}

int FakePageView::InsertItem(int index, const std::u16string& text, LPARAM data) {
    index = std::clamp(index, 0, GetItemCount());
    FakeItem item;
    item.text[0] = text;
    item.data = data;
    m_items.insert(m_items.begin() + index, item);
    return index;
}

void FakePageView::SetItemText(int index, int column, const std::u16string& text) {
    if (index >= 0 && index < GetItemCount() && column >= 0 && column < 3)
        m_items[static_cast<size_t>(index)].text[column] = text;
}

std::u16string FakePageView::GetItemText(int index, int column) {
    if (index < 0 || index >= GetItemCount() || column < 0 || column >= 3)
        return {};
    return m_items[static_cast<size_t>(index)].text[column];
}

LPARAM FakePageView::GetItemData(int index) {
    return index >= 0 && index < GetItemCount() ? m_items[static_cast<size_t>(index)].data : 0;
}

int FakePageView::GetSelectedItem() {
    for (size_t i = 0; i < m_items.size(); ++i)
        if (m_items[i].selected)
            return static_cast<int>(i);
    return -1;
}

void FakePageView::SetItemSelected(int index, bool selected) {
    if (index < 0 || index >= GetItemCount() || m_items[static_cast<size_t>(index)].selected == selected)
        return;
    m_items[static_cast<size_t>(index)].selected = selected;
    m_events->OnSelectionChanged();
}

void FakePageView::SetSortColumn(int column, bool ascending) {
    m_sortColumn = column;
    m_sortAscending = ascending;
}

void FakePageView::ArrangeItems(const std::vector<int>& order) {
    std::vector<FakeItem> arranged;
    for (int index : order)
        arranged.push_back(m_items.at(static_cast<size_t>(index)));
    m_items = std::move(arranged);
}

void FakePageView::Click(int index) {
    for (int item = 0; item < GetItemCount(); ++item)
        SetItemSelected(item, item == index);
}

std::vector<std::u16string> FakePageView::Column(int column) const {
    std::vector<std::u16string> texts;
    for (const FakeItem& item : m_items)
        texts.push_back(item.text[column]);
    return texts;
}

int FakeDialogView::RunModal() {
    if (m_script)
        m_script(*this);
    else
        m_events->OnCancel();
    return Ended() ? m_result : -1;
}

void FakeDialogView::ShowMessage(const std::u16string& text, const char16_t* caption, UINT flags) {
    m_messages.push_back({text, caption, flags});
}

bool FakeDialogView::GetOpenFileName(ZQOpenFileRequest& request) {
    m_chooserRequests.push_back(request);
    return m_chooser ? m_chooser(request) : false;
}

int FakeDialogView::LanguageIndex(const std::u16string& name) const {
    auto found = std::find(m_languages.begin(), m_languages.end(), name);
    return found == m_languages.end() ? -1 : static_cast<int>(found - m_languages.begin());
}

HRESULT FakeViewFactory::CreatePageView(HWND parent, IZQPageViewEvents* events, IZQPageView** view) {
    *view = nullptr;
    if (FAILED(m_pageFailure))
        return m_pageFailure;
    m_pages.push_back(std::make_unique<FakePageView>(parent, events));
    *view = m_pages.back().get();
    return S_OK;
}

HRESULT FakeViewFactory::CreateAddTrackDialogView(IZQPageView* owner, IZQAddTrackDialogEvents* events,
                                                  IZQAddTrackDialogView** view) {
    m_lastOwner = owner;
    FakeDialogView::Script script;
    if (!m_scripts.empty()) {
        script = std::move(m_scripts.front());
        m_scripts.pop_front();
    }
    m_dialogs.push_back(std::make_unique<FakeDialogView>(events, std::move(script), m_chooser));
    *view = m_dialogs.back().get();
    return S_OK;
}

bool FakeViewFactory::DialogUnitsToPixels(SIZE& size) {
    if (!m_canMeasure)
        return false;
    size = {size.cx * kFakeBaseUnitX / 4, size.cy * kFakeBaseUnitY / 8};
    return true;
}

}  // namespace zquitest
