#include "ui/tests/FakeViews.h"

#include <algorithm>

namespace zquitest {

int FakePageView::InsertItem(int index, const std::u16string& text, LPARAM data) {
    index = std::clamp(index, 0, GetItemCount());
    m_items.insert(m_items.begin() + index, FakeItem{{text}, data, false});
    return index;
}

int FakePageView::GetSelectedItem() {
    auto found = std::find_if(m_items.begin(), m_items.end(), [](const FakeItem& item) { return item.selected; });
    return found == m_items.end() ? -1 : static_cast<int>(found - m_items.begin());
}

void FakePageView::SetItemSelected(int index, bool selected) {
    if (Item(index).selected == selected)
        return;
    Item(index).selected = selected;
    m_events->OnSelectionChanged();
}

void FakePageView::ArrangeItems(const std::vector<int>& order) {
    std::vector<FakeItem> arranged;
    for (int index : order)
        arranged.push_back(Item(index));
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
    m_script ? m_script(*this) : m_events->OnCancel();
    return Ended() ? m_result : -1;
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

}  // namespace zquitest
