#include "ui/qt/CZQQtAddTrackDialogView.h"

#include <QComboBox>
#include <QDialog>
#include <QFileDialog>
#include <QFileInfo>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>

#include "ui/qt/ZQDialogUnits.h"

namespace {

QString ToQString(const std::u16string& text) {
    return QString::fromUtf16(text.data(), static_cast<qsizetype>(text.size()));
}

std::u16string ToU16(const QString& text) {
    return std::u16string(reinterpret_cast<const char16_t*>(text.utf16()), static_cast<size_t>(text.size()));
}

const ZQTemplateControl& TemplateControl(size_t place) {
    return kZQAddTrackTemplate[place];
}

QSize BoxSize(const QFont& font, const ZQTemplateControl& control) {
    return ZQDialogUnitsToPixels(font, control.box.right - control.box.left, control.box.bottom - control.box.top);
}

/// "SubRip (*.srt)"; "*.*" means every file here, where names need no dot.
QString NameFilter(const ZQFileFilter& filter) {
    const QString pattern = filter.pattern == u"*.*" ? QStringLiteral("*") : ToQString(filter.pattern);
    return ToQString(filter.name) + QStringLiteral(" (") + pattern + QStringLiteral(")");
}

// The places of the template's controls, in its (tab) order.
enum TemplatePlace : size_t {
    kPathCaption,
    kPathEdit,
    kBrowseButton,
    kLabelCaption,
    kLabelEdit,
    kOptionalNote,
    kLanguageCaption,
    kLanguageCombo,
    kOkButton,
    kCancelButton,
};

}  // namespace

/// The dialog itself: Escape and the close button ask the logic instead of
/// closing, as Cancel does.
class CZQQtAddTrackDialogView::CDialog final : public QDialog {
public:
    CDialog(QWidget* owner, IZQAddTrackDialogEvents* events) : QDialog(owner), m_events(events) {}
    void reject() override { m_events->OnCancel(); }
    /// Closes with `result`, past reject().
    void End(int result) { QDialog::done(result); }

private:
    IZQAddTrackDialogEvents* m_events;
};

CZQQtAddTrackDialogView::CZQQtAddTrackDialogView(QWidget* owner, IZQAddTrackDialogEvents* events)
    : m_events(events), m_dialog(new CDialog(owner, events)) {
    CDialog* dialog = m_dialog;
    dialog->setObjectName(QStringLiteral("addTrackDialog"));
    dialog->setWindowTitle(QString::fromUtf16(kZQAddTrackTitle));
    dialog->setModal(true);
    const QFont font = dialog->font();
    auto caption = [&](TemplatePlace place) {
        auto* label = new QLabel(QString::fromUtf16(TemplateControl(place).text), dialog);
        return label;
    };
    auto button = [&](TemplatePlace place, const char* name) {
        auto* pushButton = new QPushButton(QString::fromUtf16(TemplateControl(place).text), dialog);
        pushButton->setObjectName(QString::fromLatin1(name));
        pushButton->setMinimumSize(BoxSize(font, TemplateControl(place)));
        return pushButton;
    };

    QLabel* pathCaption = caption(kPathCaption);
    m_path = new QLineEdit(dialog);
    m_path->setObjectName(QStringLiteral("pathEdit"));
    m_path->setMinimumWidth(BoxSize(font, TemplateControl(kPathEdit)).width());
    pathCaption->setBuddy(m_path);
    QPushButton* browse = button(kBrowseButton, "browseButton");
    browse->setAutoDefault(false);

    QLabel* labelCaption = caption(kLabelCaption);
    m_label = new QLineEdit(dialog);
    m_label->setObjectName(QStringLiteral("labelEdit"));
    m_label->setMinimumWidth(BoxSize(font, TemplateControl(kLabelEdit)).width());
    labelCaption->setBuddy(m_label);
    QLabel* optional = caption(kOptionalNote);
    optional->setEnabled(false);

    QLabel* languageCaption = caption(kLanguageCaption);
    m_language = new QComboBox(dialog);
    m_language->setObjectName(QStringLiteral("languageCombo"));
    m_language->setMinimumWidth(BoxSize(font, TemplateControl(kLanguageCombo)).width());
    m_language->setMaxVisibleItems(16);
    languageCaption->setBuddy(m_language);

    QPushButton* ok = button(kOkButton, "okButton");
    ok->setDefault(true);
    QPushButton* cancel = button(kCancelButton, "cancelButton");
    cancel->setAutoDefault(false);

    const RECT margin = ZQMapDialogRect(font, {7, 7, 7, 9});
    auto* grid = new QGridLayout(dialog);
    grid->setContentsMargins(margin.left, margin.top, margin.right, margin.top);
    grid->setHorizontalSpacing(margin.left);
    grid->setVerticalSpacing(margin.bottom);
    grid->addWidget(pathCaption, 0, 0);
    grid->addWidget(m_path, 0, 1, 1, 2);
    grid->addWidget(browse, 0, 3);
    grid->addWidget(labelCaption, 1, 0);
    grid->addWidget(m_label, 1, 1);
    grid->addWidget(optional, 1, 2, 1, 2);
    grid->addWidget(languageCaption, 2, 0);
    grid->addWidget(m_language, 2, 1, Qt::AlignLeft);
    auto* buttons = new QHBoxLayout();
    buttons->addStretch(1);
    buttons->addWidget(ok);
    buttons->addWidget(cancel);
    grid->addLayout(buttons, 3, 0, 1, 4);
    grid->setColumnStretch(1, 1);
    grid->setColumnMinimumWidth(0, ZQDialogUnitsToPixels(font, 32, 8).width());
    grid->setSizeConstraint(QLayout::SetMinimumSize);

    // The template's tab order; the captions take no focus.
    QWidget::setTabOrder(m_path, browse);
    QWidget::setTabOrder(browse, m_label);
    QWidget::setTabOrder(m_label, m_language);
    QWidget::setTabOrder(m_language, ok);
    QWidget::setTabOrder(ok, cancel);

    QObject::connect(ok, &QPushButton::clicked, dialog, [events] { events->OnOK(); });
    QObject::connect(cancel, &QPushButton::clicked, dialog, [events] { events->OnCancel(); });
    QObject::connect(browse, &QPushButton::clicked, dialog, [events] { events->OnBrowse(); });
}

CZQQtAddTrackDialogView::~CZQQtAddTrackDialogView() = default;

void CZQQtAddTrackDialogView::Destroy() {
    // The logic ends the dialog only after its run, when no event of it is
    // on the stack.
    delete m_dialog.data();
    delete this;
}

int CZQQtAddTrackDialogView::RunModal() {
    if (m_dialog == nullptr)
        return -1;
    m_dialog->exec();
    return m_result;
}

void CZQQtAddTrackDialogView::EndDialog(int result) {
    m_result = result;
    if (m_dialog != nullptr)
        m_dialog->End(result);
}

void CZQQtAddTrackDialogView::AddLanguage(const char16_t* name) {
    if (m_dialog != nullptr)
        m_language->addItem(QString::fromUtf16(name));
}

void CZQQtAddTrackDialogView::SetLanguageSelection(int index) {
    if (m_dialog != nullptr)
        m_language->setCurrentIndex(index);
}

int CZQQtAddTrackDialogView::GetLanguageSelection() {
    return m_dialog != nullptr ? m_language->currentIndex() : -1;
}

QLineEdit* CZQQtAddTrackDialogView::Edit(int control) const {
    if (m_dialog == nullptr)
        return nullptr;
    return control == kZQPathEdit ? m_path : control == kZQLabelEdit ? m_label : nullptr;
}

QWidget* CZQQtAddTrackDialogView::Control(int control) const {
    if (m_dialog == nullptr)
        return nullptr;
    if (control == kZQLanguageCombo)
        return m_language;
    return Edit(control);
}

void CZQQtAddTrackDialogView::LimitText(int control, int limit) {
    if (QLineEdit* edit = Edit(control))
        edit->setMaxLength(limit);
}

void CZQQtAddTrackDialogView::SetText(int control, const std::u16string& text) {
    if (QLineEdit* edit = Edit(control))
        edit->setText(ToQString(text));
}

std::u16string CZQQtAddTrackDialogView::GetText(int control) {
    QLineEdit* edit = Edit(control);
    return edit != nullptr ? ToU16(edit->text()) : std::u16string();
}

void CZQQtAddTrackDialogView::SetFocus(int control) {
    if (QWidget* widget = Control(control)) {
        widget->setFocus(Qt::OtherFocusReason);
        if (QLineEdit* edit = Edit(control))
            edit->selectAll();
    }
}

void CZQQtAddTrackDialogView::FocusFirstControl() {
    SetFocus(kZQPathEdit);
}

void CZQQtAddTrackDialogView::ShowMessage(const std::u16string& text, const char16_t* caption, UINT flags) {
    if (m_dialog == nullptr)
        return;
    const QMessageBox::Icon icon = (flags & MB_ICONEXCLAMATION) == MB_ICONEXCLAMATION ? QMessageBox::Warning
                                                                                      : QMessageBox::NoIcon;
    QMessageBox box(icon, QString::fromUtf16(caption), ToQString(text), QMessageBox::Ok, m_dialog);
    box.setObjectName(QStringLiteral("errorMessage"));
    box.exec();
}

bool CZQQtAddTrackDialogView::GetOpenFileName(ZQOpenFileRequest& request) {
    if (m_dialog == nullptr)
        return false;
    QFileDialog chooser(m_dialog);
    chooser.setObjectName(QStringLiteral("fileChooser"));
    chooser.setOption(QFileDialog::DontUseNativeDialog);
    chooser.setAcceptMode(QFileDialog::AcceptOpen);
    chooser.setFileMode(request.fileMustExist ? QFileDialog::ExistingFile : QFileDialog::AnyFile);
    QStringList filters;
    for (const ZQFileFilter& filter : request.filters)
        filters << NameFilter(filter);
    chooser.setNameFilters(filters);
    if (request.filterIndex >= 1 && request.filterIndex <= filters.size())
        chooser.selectNameFilter(filters.at(request.filterIndex - 1));
    if (!request.file.empty()) {
        const QFileInfo seed(ToQString(request.file));
        chooser.setDirectory(seed.absolutePath());
        chooser.selectFile(seed.fileName());
    }
    if (chooser.exec() != QDialog::Accepted || chooser.selectedFiles().isEmpty())
        return false;
    const QString chosen = chooser.selectedFiles().front();
    // The answer must fit the caller's buffer with its NUL.
    if (chosen.size() >= request.maxFile)
        return false;
    request.file = ToU16(chosen);
    return true;
}
