// The Add Subtitle Track dialog's window in Qt Widgets.
#pragma once

#include <QPointer>

#include "ui/ZQSubtitleViews.h"

class QComboBox;
class QDialog;
class QLineEdit;
class QWidget;

/// The dialog as a modal QDialog laid out like template 106 in dialog units
/// of its font: Path with Browse..., Label with "(Optional)", Language, OK
/// (the default button, so Enter presses it) and Cancel (Escape and the
/// window's close button press it too). Typing a language's name in the combo
/// selects it. Messages are QMessageBox warnings, the file chooser a
/// QFileDialog. Made by the factory for the dialog's logic, which owns this
/// object and ends it with Destroy; if the owner window deletes the dialog
/// first, every call does nothing. GUI thread only.
class CZQQtAddTrackDialogView final : public IZQAddTrackDialogView {
public:
    CZQQtAddTrackDialogView(QWidget* owner, IZQAddTrackDialogEvents* events);
    CZQQtAddTrackDialogView(const CZQQtAddTrackDialogView&) = delete;
    CZQQtAddTrackDialogView& operator=(const CZQQtAddTrackDialogView&) = delete;

    void Destroy() override;
    int RunModal() override;
    void EndDialog(int result) override;
    void AddLanguage(const char16_t* name) override;
    void SetLanguageSelection(int index) override;
    int GetLanguageSelection() override;
    void LimitText(int control, int limit) override;
    void SetText(int control, const std::u16string& text) override;
    std::u16string GetText(int control) override;
    void SetFocus(int control) override;
    void FocusFirstControl() override;
    void ShowMessage(const std::u16string& text, const char16_t* caption, UINT flags) override;
    bool GetOpenFileName(ZQOpenFileRequest& request) override;

private:
    ~CZQQtAddTrackDialogView();

    class CDialog;
    QLineEdit* Edit(int control) const;
    QWidget* Control(int control) const;

    IZQAddTrackDialogEvents* m_events;
    QPointer<CDialog> m_dialog;
    // Children of m_dialog: valid while m_dialog is.
    QLineEdit* m_path = nullptr;
    QLineEdit* m_label = nullptr;
    QComboBox* m_language = nullptr;
    // What EndDialog was given; -1 until then.
    int m_result = -1;
};
