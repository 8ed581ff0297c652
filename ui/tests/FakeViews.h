// The windows of the page and the dialog as plain records, for tests of
// their logic: the test reads what the logic put on screen and plays the
// user by calling the events.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ui/ZQSubtitleViews.h"

namespace zquitest {

/// The fake's font: 7 by 15 pixels per pair of dialog base units.
inline constexpr LONG kFakeBaseUnitX = 7;
inline constexpr LONG kFakeBaseUnitY = 15;

struct FakeItem {
    std::u16string text[3];
    LPARAM data = 0;
    bool selected = false;
};

/// The page's window; kept by its factory after Destroy.
class FakePageView final : public IZQPageView {
public:
    FakePageView(HWND parent, IZQPageViewEvents* events) : m_parent(parent), m_events(events) {}
    virtual ~FakePageView() = default;

    void Destroy() override { m_destroyed = true; }
    void Move(const RECT& rect) override { m_rect = rect; }
    void Show(int command) override { m_visible = command != SW_HIDE; }
    bool IsDialogMessage(const MSG&) override { return ++m_dialogMessages, m_takesDialogMessages; }
    void MapDialogRect(RECT& r) override {
        r = {r.left * kFakeBaseUnitX / 4, r.top * kFakeBaseUnitY / 8, r.right * kFakeBaseUnitX / 4,
             r.bottom * kFakeBaseUnitY / 8};
    }
    void FocusFirstControl() override { m_focusSet = true; }
    void InsertColumn(int, const char16_t* header, int width) override { m_columns.emplace_back(header, width); }
    void DeleteAllItems() override { m_items.clear(); }
    int InsertItem(int index, const std::u16string& text, LPARAM data) override;
    void SetItemText(int index, int column, const std::u16string& text) override { Item(index).text[column] = text; }
    std::u16string GetItemText(int index, int column) override { return Item(index).text[column]; }
    LPARAM GetItemData(int index) override { return Item(index).data; }
    int GetItemCount() override { return static_cast<int>(m_items.size()); }
    int GetSelectedItem() override;
    /// Tells the page of a change, as a list control does.
    void SetItemSelected(int index, bool selected) override;
    void EnsureVisible(int index) override { m_visibleItem = index; }
    void SetSortColumn(int column, bool ascending) override { m_sortColumn = column, m_sortAscending = ascending; }
    void ArrangeItems(const std::vector<int>& order) override;
    void EnableRemove(bool enable) override { m_removeEnabled = enable; }

    IZQPageViewEvents& Events() const { return *m_events; }
    /// Selects one row as a click does.
    void Click(int index);
    std::vector<std::u16string> Column(int column) const;

    HWND m_parent;
    IZQPageViewEvents* m_events;
    std::vector<FakeItem> m_items;
    std::vector<std::pair<std::u16string, int>> m_columns;
    RECT m_rect = {0, 0, 0, 0};
    bool m_visible = false;
    bool m_destroyed = false;
    bool m_focusSet = false;
    bool m_removeEnabled = true;
    bool m_takesDialogMessages = false;
    int m_dialogMessages = 0;
    int m_visibleItem = -2;
    int m_sortColumn = -1;
    bool m_sortAscending = false;

private:
    FakeItem& Item(int index) { return m_items.at(static_cast<size_t>(index)); }
};

struct FakeMessage {
    std::u16string text;
    std::u16string caption;
    UINT flags = 0;
};

/// The dialog's window. RunModal runs the test's script, which plays the
/// user (cancelling without one); it answers what EndDialog was given, or
/// -1 if the script ended without it.
class FakeDialogView final : public IZQAddTrackDialogView {
public:
    using Script = std::function<void(FakeDialogView&)>;
    using Chooser = std::function<bool(ZQOpenFileRequest&)>;
    static constexpr int kRunning = -100;

    FakeDialogView(IZQAddTrackDialogEvents* events, Script script, Chooser chooser)
        : m_events(events), m_script(std::move(script)), m_chooser(std::move(chooser)) {}
    virtual ~FakeDialogView() = default;

    void Destroy() override { m_destroyed = true; }
    int RunModal() override;
    void EndDialog(int result) override { m_result = result; }
    void AddLanguage(const char16_t* name) override { m_languages.emplace_back(name); }
    void SetLanguageSelection(int index) override { m_selection = index; }
    int GetLanguageSelection() override { return m_selection; }
    void LimitText(int control, int limit) override { m_limits[control] = limit; }
    void SetText(int control, const std::u16string& text) override { m_texts[control] = text; }
    std::u16string GetText(int control) override { return m_texts[control]; }
    void SetFocus(int control) override { m_focus = control; }
    void FocusFirstControl() override { m_focus = kZQPathEdit; }
    void ShowMessage(const std::u16string& text, const char16_t* caption, UINT flags) override {
        m_messages.push_back({text, caption, flags});
    }
    bool GetOpenFileName(ZQOpenFileRequest& request) override {
        m_chooserRequests.push_back(request);
        return m_chooser && m_chooser(request);
    }

    IZQAddTrackDialogEvents& Events() const { return *m_events; }
    bool Ended() const { return m_result != kRunning; }
    /// The combo entry of a language by its English name, or -1.
    int LanguageIndex(const std::u16string& name) const;

    IZQAddTrackDialogEvents* m_events;
    Script m_script;
    Chooser m_chooser;
    int m_result = kRunning;
    bool m_destroyed = false;
    std::vector<std::u16string> m_languages;
    int m_selection = -1;
    std::map<int, int> m_limits;
    std::map<int, std::u16string> m_texts;
    int m_focus = kZQControlNone;
    std::vector<FakeMessage> m_messages;
    std::vector<ZQOpenFileRequest> m_chooserRequests;
};

/// Makes fake windows and keeps them all. Each dialog's user is the next
/// script queued.
class FakeViewFactory final : public IZQViewFactory {
public:
    virtual ~FakeViewFactory() = default;

    HRESULT CreatePageView(HWND parent, IZQPageViewEvents* events, IZQPageView** view) override;
    HRESULT CreateAddTrackDialogView(IZQPageView* owner, IZQAddTrackDialogEvents* events,
                                     IZQAddTrackDialogView** view) override;
    bool DialogUnitsToPixels(SIZE& size) override {
        size = {size.cx * kFakeBaseUnitX / 4, size.cy * kFakeBaseUnitY / 8};
        return m_canMeasure;
    }

    void QueueDialog(FakeDialogView::Script script) { m_scripts.push_back(std::move(script)); }
    /// What every dialog's file chooser answers; it cancels by default.
    void SetChooser(FakeDialogView::Chooser chooser) { m_chooser = std::move(chooser); }
    /// The window made last; null before.
    FakePageView* Page() const { return m_pages.empty() ? nullptr : m_pages.back().get(); }
    FakeDialogView* Dialog() const { return m_dialogs.empty() ? nullptr : m_dialogs.back().get(); }
    size_t DialogCount() const { return m_dialogs.size(); }

    HRESULT m_pageFailure = S_OK;
    bool m_canMeasure = true;
    const IZQPageView* m_lastOwner = nullptr;

private:
    std::vector<std::unique_ptr<FakePageView>> m_pages;
    std::vector<std::unique_ptr<FakeDialogView>> m_dialogs;
    std::deque<FakeDialogView::Script> m_scripts;
    FakeDialogView::Chooser m_chooser;
};

}  // namespace zquitest
