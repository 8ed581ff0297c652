// The page's window in Qt Widgets: the list of tracks and its buttons.
#pragma once

#include <QMetaObject>
#include <QPointer>
#include <QWidget>

#include <memory>
#include <vector>

#include "ui/ZQSubtitleViews.h"

class QPushButton;
class QTreeWidget;

/// The page as a widget, laid out like template 102 in dialog units of its
/// font: a list in report form ("#", "Label", "Language"; single selection of
/// whole rows; the sort column marked in its header) with "Add..." and
/// "Remove" beside it. The Delete key in the list removes, and a file dropped
/// onto the page is offered for adding. Made by the factory for the page's
/// logic, which owns this object and ends it with Destroy; the widget is a
/// child of the frame's widget, which may delete it first, after which every
/// call does nothing. GUI thread only.
class CZQQtPageView final : public IZQPageView {
public:
    /// Builds the widget in `parent` (a top-level window for null), hidden.
    CZQQtPageView(QWidget* parent, IZQPageViewEvents* events);
    CZQQtPageView(const CZQQtPageView&) = delete;
    CZQQtPageView& operator=(const CZQQtPageView&) = delete;

    void Destroy() override;
    void Move(const RECT& rect) override;
    void Show(int command) override;
    /// Qt delivers the window's input itself; no message of the platform's
    /// queue is the page's.
    bool IsDialogMessage(const MSG& message) override;
    void MapDialogRect(RECT& rect) override;
    void FocusFirstControl() override;
    void InsertColumn(int column, const char16_t* header, int widthInPixels) override;
    void DeleteAllItems() override;
    int InsertItem(int index, const std::u16string& text, LPARAM data) override;
    void SetItemText(int index, int column, const std::u16string& text) override;
    std::u16string GetItemText(int index, int column) override;
    LPARAM GetItemData(int index) override;
    int GetItemCount() override;
    int GetSelectedItem() override;
    void SetItemSelected(int index, bool selected) override;
    void EnsureVisible(int index) override;
    void SetSortColumn(int column, bool ascending) override;
    void ArrangeItems(const std::vector<int>& order) override;
    void EnableRemove(bool enable) override;

    /// The widget, for the dialog's owner; null once deleted.
    QWidget* Widget() const { return m_widget; }

private:
    ~CZQQtPageView();

    /// Calls an event of the logic. The logic may end this view inside it.
    template <class Call>
    void Dispatch(Call call);
    /// Whether a drag carries exactly one local file.
    static bool IsOneLocalFile(const class QMimeData* data);
    bool FilterEvent(QObject* watched, class QEvent* event);

    class CEventFilter;

    IZQPageViewEvents* m_events;
    QPointer<QWidget> m_widget;
    // Children of m_widget: valid while m_widget is.
    QTreeWidget* m_list = nullptr;
    QPushButton* m_addButton = nullptr;
    QPushButton* m_removeButton = nullptr;
    std::unique_ptr<CEventFilter> m_filter;
    std::vector<QMetaObject::Connection> m_connections;
    // False once Destroy ran, seen by a Dispatch still on the stack.
    std::shared_ptr<bool> m_alive = std::make_shared<bool>(true);
    // Events of the logic on the stack now.
    int m_dispatching = 0;
};
