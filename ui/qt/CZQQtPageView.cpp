#include "ui/qt/CZQQtPageView.h"

#include <QDragEnterEvent>
#include <QDropEvent>
#include <QGridLayout>
#include <QHeaderView>
#include <QMimeData>
#include <QPushButton>
#include <QShortcut>
#include <QTreeWidget>
#include <QUrl>

#include <algorithm>

#include "ui/qt/ZQDialogUnits.h"

namespace {

QString ToQString(const std::u16string& text) {
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

std::u16string ToU16(const QString& text) {
    return std::u16string(reinterpret_cast<const char16_t*>(text.utf16()), static_cast<size_t>(text.size()));
}

/// The template's box of a control, in pixels of `font`.
QSize ControlSize(const QFont& font, int id) {
    for (const ZQTemplateControl& control : kZQPageTemplate) {
        if (control.id == id)
            return ZQDialogUnitsToPixels(font, control.box.right - control.box.left, control.box.bottom - control.box.top);
    }
    return QSize();
}

}  // namespace

/// Passes the page's drag and drop events to the view.
class CZQQtPageView::CEventFilter final : public QObject {
public:
    explicit CEventFilter(CZQQtPageView& view) : m_view(view) {}
    bool eventFilter(QObject* watched, QEvent* event) override { return m_view.FilterEvent(watched, event); }

private:
    CZQQtPageView& m_view;
};

CZQQtPageView::CZQQtPageView(QWidget* parent, IZQPageViewEvents* events)
    : m_events(events), m_widget(new QWidget(parent)), m_filter(std::make_unique<CEventFilter>(*this)) {
    QWidget* page = m_widget;
    page->setObjectName(QStringLiteral("subtitlePage"));
    if (parent == nullptr)
        page->setWindowTitle(QStringLiteral("Subtitles"));
    const QFont font = page->font();
    const RECT spacing = ZQMapDialogRect(font, {7, 6, 7, 6});

    m_list = new QTreeWidget(page);
    m_list->setObjectName(QStringLiteral("trackList"));
    m_list->setColumnCount(static_cast<int>(std::size(kZQTrackColumns)));
    m_list->setRootIsDecorated(false);
    m_list->setItemsExpandable(false);
    m_list->setUniformRowHeights(true);
    m_list->setSelectionMode(QAbstractItemView::SingleSelection);
    m_list->setSelectionBehavior(QAbstractItemView::SelectRows);
    m_list->setAllColumnsShowFocus(true);
    m_list->setSortingEnabled(false);
    m_list->header()->setSectionsClickable(true);
    m_list->header()->setSortIndicatorShown(true);
    m_list->header()->setSectionsMovable(false);
    m_list->setMinimumSize(ControlSize(font, kZQTrackList) / 2);

    m_addButton = new QPushButton(QString::fromUtf16(kZQPageTemplate[1].text), page);
    m_addButton->setObjectName(QStringLiteral("addButton"));
    m_removeButton = new QPushButton(QString::fromUtf16(kZQPageTemplate[2].text), page);
    m_removeButton->setObjectName(QStringLiteral("removeButton"));
    for (QPushButton* button : {m_addButton, m_removeButton}) {
        button->setMinimumSize(ControlSize(font, button == m_addButton ? kZQAddButton : kZQRemoveButton));
        button->setAutoDefault(false);
    }

    auto* layout = new QGridLayout(page);
    layout->setContentsMargins(spacing.left, spacing.top, spacing.right, spacing.bottom);
    layout->setHorizontalSpacing(spacing.left);
    layout->setVerticalSpacing(spacing.top);
    layout->addWidget(m_list, 0, 0, 3, 1);
    layout->addWidget(m_addButton, 0, 1);
    layout->addWidget(m_removeButton, 1, 1);
    layout->setRowStretch(2, 1);
    layout->setColumnStretch(0, 1);
    // The template's tab order: the list, Add..., Remove.
    QWidget::setTabOrder(m_list, m_addButton);
    QWidget::setTabOrder(m_addButton, m_removeButton);

    auto* remove = new QShortcut(QKeySequence::Delete, m_list);
    remove->setContext(Qt::WidgetShortcut);
    m_connections = {
        QObject::connect(m_addButton, &QPushButton::clicked, page,
                         [this] { Dispatch([](IZQPageViewEvents& e) { e.OnAddClicked(); }); }),
        QObject::connect(m_removeButton, &QPushButton::clicked, page,
                         [this] { Dispatch([](IZQPageViewEvents& e) { e.OnRemoveClicked(); }); }),
        QObject::connect(remove, &QShortcut::activated, page,
                         [this] { Dispatch([](IZQPageViewEvents& e) { e.OnRemoveClicked(); }); }),
        QObject::connect(m_list->header(), &QHeaderView::sectionClicked, page,
                         [this](int column) { Dispatch([column](IZQPageViewEvents& e) { e.OnColumnClicked(column); }); }),
        QObject::connect(m_list, &QTreeWidget::itemSelectionChanged, page,
                         [this] { Dispatch([](IZQPageViewEvents& e) { e.OnSelectionChanged(); }); }),
    };

    page->setAcceptDrops(true);
    m_list->setAcceptDrops(true);
    m_list->viewport()->setAcceptDrops(true);
    page->installEventFilter(m_filter.get());
    m_list->viewport()->installEventFilter(m_filter.get());
    page->hide();
}

CZQQtPageView::~CZQQtPageView() = default;

template <class Call>
void CZQQtPageView::Dispatch(Call call) {
    if (m_events == nullptr)
        return;
    const std::shared_ptr<bool> alive = m_alive;
    ++m_dispatching;
    call(*m_events);
    // The logic may have ended this view; then nothing of it may be touched.
    if (*alive)
        --m_dispatching;
}

void CZQQtPageView::Destroy() {
    *m_alive = false;
    for (const QMetaObject::Connection& connection : m_connections)
        QObject::disconnect(connection);
    if (m_widget != nullptr) {
        m_widget->hide();
        // Inside one of its own events the widget is still on the stack.
        if (m_dispatching > 0)
            m_widget->deleteLater();
        else
            delete m_widget.data();
    }
    delete this;
}

void CZQQtPageView::Move(const RECT& rect) {
    if (m_widget != nullptr)
        m_widget->setGeometry(rect.left, rect.top, rect.right - rect.left, rect.bottom - rect.top);
}

void CZQQtPageView::Show(int command) {
    if (m_widget != nullptr)
        m_widget->setVisible(command != SW_HIDE);
}

bool CZQQtPageView::IsDialogMessage(const MSG& /*message*/) {
    return false;
}

void CZQQtPageView::MapDialogRect(RECT& rect) {
    if (m_widget != nullptr)
        rect = ZQMapDialogRect(m_widget->font(), rect);
}

void CZQQtPageView::FocusFirstControl() {
    if (m_widget != nullptr)
        m_list->setFocus(Qt::OtherFocusReason);
}

void CZQQtPageView::InsertColumn(int column, const char16_t* header, int widthInPixels) {
    if (m_widget == nullptr || column < 0 || column >= m_list->columnCount())
        return;
    m_list->headerItem()->setText(column, QString::fromUtf16(header));
    // Never narrower than the header's text with the sort mark beside it.
    m_list->header()->resizeSection(column, std::max(widthInPixels, m_list->header()->sectionSizeHint(column)));
}

void CZQQtPageView::DeleteAllItems() {
    if (m_widget != nullptr)
        m_list->clear();
}

int CZQQtPageView::InsertItem(int index, const std::u16string& text, LPARAM data) {
    if (m_widget == nullptr)
        return -1;
    index = std::clamp(index, 0, m_list->topLevelItemCount());
    auto* item = new QTreeWidgetItem();
    item->setText(0, ToQString(text));
    item->setData(0, Qt::UserRole, QVariant::fromValue<qlonglong>(data));
    m_list->insertTopLevelItem(index, item);
    return index;
}

void CZQQtPageView::SetItemText(int index, int column, const std::u16string& text) {
    if (m_widget == nullptr)
        return;
    if (QTreeWidgetItem* item = m_list->topLevelItem(index))
        item->setText(column, ToQString(text));
}

std::u16string CZQQtPageView::GetItemText(int index, int column) {
    if (m_widget == nullptr)
        return {};
    QTreeWidgetItem* item = m_list->topLevelItem(index);
    return item != nullptr ? ToU16(item->text(column)) : std::u16string();
}

LPARAM CZQQtPageView::GetItemData(int index) {
    if (m_widget == nullptr)
        return 0;
    QTreeWidgetItem* item = m_list->topLevelItem(index);
    return item != nullptr ? static_cast<LPARAM>(item->data(0, Qt::UserRole).toLongLong()) : 0;
}

int CZQQtPageView::GetItemCount() {
    return m_widget != nullptr ? m_list->topLevelItemCount() : 0;
}

int CZQQtPageView::GetSelectedItem() {
    if (m_widget == nullptr)
        return -1;
    for (int index = 0; index < m_list->topLevelItemCount(); ++index) {
        if (m_list->topLevelItem(index)->isSelected())
            return index;
    }
    return -1;
}

void CZQQtPageView::SetItemSelected(int index, bool selected) {
    if (m_widget == nullptr)
        return;
    QTreeWidgetItem* item = m_list->topLevelItem(index);
    if (item == nullptr || item->isSelected() == selected)
        return;
    item->setSelected(selected);
    // The keyboard goes on from the selected row.
    if (selected)
        m_list->setCurrentItem(item, 0, QItemSelectionModel::NoUpdate);
}

void CZQQtPageView::EnsureVisible(int index) {
    if (m_widget == nullptr)
        return;
    if (QTreeWidgetItem* item = m_list->topLevelItem(index))
        m_list->scrollToItem(item);
}

void CZQQtPageView::SetSortColumn(int column, bool ascending) {
    if (m_widget != nullptr)
        m_list->header()->setSortIndicator(column, ascending ? Qt::AscendingOrder : Qt::DescendingOrder);
}

void CZQQtPageView::ArrangeItems(const std::vector<int>& order) {
    if (m_widget == nullptr || order.size() != static_cast<size_t>(m_list->topLevelItemCount()))
        return;
    std::vector<QTreeWidgetItem*> items;
    std::vector<bool> selected;
    for (int index : order) {
        QTreeWidgetItem* item = m_list->topLevelItem(index);
        items.push_back(item);
        selected.push_back(item->isSelected());
    }
    QTreeWidgetItem* current = m_list->currentItem();
    {
        // Taking the rows out and back is no change of the selection.
        const QSignalBlocker blocker(m_list);
        while (m_list->topLevelItemCount() > 0)
            m_list->takeTopLevelItem(0);
        for (QTreeWidgetItem* item : items)
            m_list->addTopLevelItem(item);
        for (size_t i = 0; i < items.size(); ++i)
            items[i]->setSelected(selected[i]);
        if (current != nullptr)
            m_list->setCurrentItem(current, 0, QItemSelectionModel::NoUpdate);
    }
}

void CZQQtPageView::EnableRemove(bool enable) {
    if (m_widget != nullptr)
        m_removeButton->setEnabled(enable);
}

bool CZQQtPageView::IsOneLocalFile(const QMimeData* data) {
    return data != nullptr && data->hasUrls() && data->urls().size() == 1 && data->urls().front().isLocalFile();
}

bool CZQQtPageView::FilterEvent(QObject* /*watched*/, QEvent* event) {
    switch (event->type()) {
    case QEvent::DragEnter:
    case QEvent::DragMove: {
        auto* drag = static_cast<QDragMoveEvent*>(event);
        if (!IsOneLocalFile(drag->mimeData()))
            return false;
        drag->acceptProposedAction();
        return true;
    }
    case QEvent::Drop: {
        auto* drop = static_cast<QDropEvent*>(event);
        if (!IsOneLocalFile(drop->mimeData()))
            return false;
        drop->acceptProposedAction();
        // The dialog opens once the drop has ended, so that the program the
        // file came from isn't held in its drag while the dialog runs.
        const std::u16string path = ToU16(drop->mimeData()->urls().front().toLocalFile());
        QMetaObject::invokeMethod(
            m_widget,
            [this, alive = m_alive, path] {
                if (*alive)
                    Dispatch([&path](IZQPageViewEvents& e) { e.OnFileDropped(path); });
            },
            Qt::QueuedConnection);
        return true;
    }
    default:
        return false;
    }
}
