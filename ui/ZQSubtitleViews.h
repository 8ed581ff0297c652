// The contract between the logic of the property page and its dialog (ui/,
// inside the module) and a presentation of them (ui/qt/, the library
// libZQSubtitleQt.so, which the module loads when a page first needs it).
//
// Everything here is pure virtual interfaces, plain data and the templates
// of the two windows in dialog units: no toolkit type crosses. Both sides are
// built by one build with one compiler and standard library, so standard
// strings may cross. Every call on either side is made on the thread that
// shows the page, from its event loop; nothing here is synchronised.
#pragma once

#include <string>
#include <vector>

#include "zqplatform/types.h"
#include "zqplatform/winuser.h"

/// One control of a template. Positions and sizes are dialog units: a
/// quarter of the font's average character width across, an eighth of its
/// height down.
struct ZQTemplateControl {
    int id;
    const char16_t* text;  ///< the caption, or null
    RECT box;              ///< left, top, right, bottom in dialog units
};

/// The controls' ids, shared by both templates.
inline constexpr int kZQControlNone = -1;
inline constexpr int kZQTrackList = 201;
inline constexpr int kZQAddButton = 202;
inline constexpr int kZQRemoveButton = 203;
inline constexpr int kZQPathEdit = 204;
inline constexpr int kZQBrowseButton = 205;
inline constexpr int kZQLabelEdit = 206;
inline constexpr int kZQLanguageCombo = 207;

/// Template 102: the page, a child window without caption.
inline constexpr SIZE kZQPageTemplateSize = {345, 146};
inline constexpr ZQTemplateControl kZQPageTemplate[] = {
    {kZQTrackList, nullptr, {7, 7, 281, 139}},
    {kZQAddButton, u"Add...", {288, 7, 338, 21}},
    {kZQRemoveButton, u"Remove", {288, 27, 338, 41}},
};

/// Template 106: the modal dialog "Add Subtitle Track", in tab order.
inline constexpr SIZE kZQAddTrackTemplateSize = {320, 98};
inline constexpr char16_t kZQAddTrackTitle[] = u"Add Subtitle Track";
inline constexpr ZQTemplateControl kZQAddTrackTemplate[] = {
    {kZQControlNone, u"Path", {7, 10, 23, 18}},
    {kZQPathEdit, nullptr, {44, 7, 256, 21}},
    {kZQBrowseButton, u"Browse...", {263, 7, 313, 21}},
    {kZQControlNone, u"Label", {7, 33, 25, 41}},
    {kZQLabelEdit, nullptr, {44, 30, 224, 44}},
    {kZQControlNone, u"(Optional)", {229, 33, 262, 41}},
    {kZQControlNone, u"Language", {7, 56, 39, 64}},
    {kZQLanguageCombo, nullptr, {44, 54, 193, 180}},
    {IDOK, u"OK", {209, 77, 259, 91}},
    {IDCANCEL, u"Cancel", {263, 77, 313, 91}},
};

/// The column headers of the track list, left to right.
inline constexpr const char16_t* kZQTrackColumns[] = {u"#", u"Label", u"Language"};

/// What the page hears from its window. The presentation calls these from
/// its event loop; a handler may run a modal dialog.
class IZQPageViewEvents {
public:
    virtual void OnAddClicked() = 0;
    /// The Remove button, or the Delete key in the list.
    virtual void OnRemoveClicked() = 0;
    virtual void OnColumnClicked(int column) = 0;
    /// The selection of the list changed, by the user or by the page.
    virtual void OnSelectionChanged() = 0;
    /// A file was dropped onto the page.
    virtual void OnFileDropped(const std::u16string& path) = 0;

protected:
    ~IZQPageViewEvents() = default;
};

/// The page's window: a list of tracks in report form with its columns, and
/// the buttons. Items are addressed by their present position; each keeps an
/// item data value. Owned by the page, which ends it with Destroy.
class IZQPageView {
public:
    /// Ends the window; the object is gone when this returns. Safe from
    /// inside one of its own events.
    virtual void Destroy() = 0;
    /// Places the window at `rect` in its parent's coordinates (or on the
    /// screen for a top-level window).
    virtual void Move(const RECT& rect) = 0;
    /// SW_HIDE hides the window, any other command shows it.
    virtual void Show(int command) = 0;
    /// Whether the window takes a keyboard or mouse message of the platform's
    /// queue as dialog navigation.
    virtual bool IsDialogMessage(const MSG& message) = 0;
    /// Converts dialog units to pixels with the window's font.
    virtual void MapDialogRect(RECT& rect) = 0;
    /// Gives the focus to the first control that takes it.
    virtual void FocusFirstControl() = 0;

    virtual void InsertColumn(int column, const char16_t* header, int widthInPixels) = 0;
    virtual void DeleteAllItems() = 0;
    /// Inserts an item at `index` (clamped to the count) with the text of
    /// column 0; answers its index.
    virtual int InsertItem(int index, const std::u16string& text, LPARAM data) = 0;
    virtual void SetItemText(int index, int column, const std::u16string& text) = 0;
    /// The text of a cell, whole; empty for an index or column out of range.
    virtual std::u16string GetItemText(int index, int column) = 0;
    /// 0 for an index out of range.
    virtual LPARAM GetItemData(int index) = 0;
    virtual int GetItemCount() = 0;
    /// The first selected item, or -1.
    virtual int GetSelectedItem() = 0;
    virtual void SetItemSelected(int index, bool selected) = 0;
    /// Scrolls so that the item is at least partly visible.
    virtual void EnsureVisible(int index) = 0;
    /// Marks the column the list is sorted by, and its direction.
    virtual void SetSortColumn(int column, bool ascending) = 0;
    /// Reorders the items: the item now at `order[i]` goes to position i.
    /// `order` is a permutation of the positions.
    virtual void ArrangeItems(const std::vector<int>& order) = 0;
    virtual void EnableRemove(bool enable) = 0;

protected:
    ~IZQPageView() = default;
};

/// What the dialog hears from its window.
class IZQAddTrackDialogEvents {
public:
    /// The OK button, or Enter.
    virtual void OnOK() = 0;
    /// The Cancel button, Escape, or the window's close button.
    virtual void OnCancel() = 0;
    virtual void OnBrowse() = 0;

protected:
    ~IZQAddTrackDialogEvents() = default;
};

/// One filter of a file chooser: its name and its pattern, "*.srt".
struct ZQFileFilter {
    std::u16string name;
    std::u16string pattern;
};

/// A file chooser's arguments and answer.
struct ZQOpenFileRequest {
    /// The seed on the way in, the chosen file on the way out.
    std::u16string file;
    std::vector<ZQFileFilter> filters;
    /// The active filter, counted from 1.
    int filterIndex = 1;
    /// The longest answer taken, in code units with the NUL.
    int maxFile = 260;
    /// Only a file that exists, in a folder that exists, may be chosen.
    bool fileMustExist = true;
};

/// The dialog's window. Owned by the dialog's logic, which ends it with Destroy.
class IZQAddTrackDialogView {
public:
    virtual void Destroy() = 0;
    /// Shows the dialog and runs its modal loop until EndDialog; answers the
    /// value given to EndDialog, or -1 when the loop couldn't run or the
    /// window went away without one.
    virtual int RunModal() = 0;
    /// Ends the modal loop with `result`.
    virtual void EndDialog(int result) = 0;

    /// Appends an entry to the language combo.
    virtual void AddLanguage(const char16_t* name) = 0;
    virtual void SetLanguageSelection(int index) = 0;
    /// The selected entry, or -1.
    virtual int GetLanguageSelection() = 0;
    /// The most code units an edit control takes.
    virtual void LimitText(int control, int limit) = 0;
    virtual void SetText(int control, const std::u16string& text) = 0;
    virtual std::u16string GetText(int control) = 0;
    virtual void SetFocus(int control) = 0;
    virtual void FocusFirstControl() = 0;
    /// A message box over the dialog, modal; MB_ICONEXCLAMATION marks a warning.
    virtual void ShowMessage(const std::u16string& text, const char16_t* caption, UINT flags) = 0;
    /// Runs a file chooser; false when the user cancelled or it failed.
    virtual bool GetOpenFileName(ZQOpenFileRequest& request) = 0;

protected:
    ~IZQAddTrackDialogView() = default;
};

/// Makes the windows. The presentation library keeps one for the process.
class IZQViewFactory {
public:
    /// A page window as a child of `parent` (a QWidget* of the frame), or a
    /// top-level window for null. E_UNEXPECTED when the process has no
    /// application object of the toolkit; E_OUTOFMEMORY.
    virtual HRESULT CreatePageView(HWND parent, IZQPageViewEvents* events, IZQPageView** view) = 0;
    /// A dialog window owned by the page's window (or by none for null).
    virtual HRESULT CreateAddTrackDialogView(IZQPageView* owner, IZQAddTrackDialogEvents* events,
                                             IZQAddTrackDialogView** view) = 0;
    /// Converts a size in dialog units of the templates' font to pixels;
    /// false when there is no font to measure yet (no application object).
    virtual bool DialogUnitsToPixels(SIZE& size) = 0;

protected:
    ~IZQViewFactory() = default;
};

/// The presentation library's one export, C linkage: its factory for the
/// contract `version`, or null for a version it doesn't serve.
inline constexpr DWORD kZQViewContractVersion = 1;
inline constexpr char kZQViewFactoryEntry[] = "ZQGetViewFactory";
using ZQGetViewFactoryFunction = IZQViewFactory* (*)(DWORD version);
