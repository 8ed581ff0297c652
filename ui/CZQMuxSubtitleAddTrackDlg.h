// The modal dialog that adds one SubRip file as a track of a multiplexer.
#pragma once

#include <string>

#include "ui/ZQSubtitleViews.h"
#include "zqplatform/comptr.h"
#include "zqsubtitle/ZQSubtitle.h"

/// The Add Subtitle Track dialog: a path with Browse..., an optional label and
/// a language. It adds the track itself and closes only when that succeeded,
/// so that a bad file can be corrected without losing what was typed. The
/// page's Add... handler builds one on the stack, runs DoModal and reads
/// m_trackid after IDOK. Runs on the page's thread, inside the modal loop;
/// the multiplexer parses the file on that thread.
class CZQMuxSubtitleAddTrackDlg final : public IZQAddTrackDialogEvents {
public:
    static constexpr int kPathLimit = 259;
    static constexpr int kLabelLimit = 255;
    static constexpr int kMaxFile = 260;

    /// Holds a reference to `mux` until destruction.
    explicit CZQMuxSubtitleAddTrackDlg(IZQMuxSubtitle* mux) noexcept : m_mux(mux) {}
    ~CZQMuxSubtitleAddTrackDlg();
    CZQMuxSubtitleAddTrackDlg(const CZQMuxSubtitleAddTrackDlg&) = delete;
    CZQMuxSubtitleAddTrackDlg& operator=(const CZQMuxSubtitleAddTrackDlg&) = delete;

    /// Makes the window with `factory`, owned by `owner` (may be null), and
    /// runs it: IDOK when a track was added, IDCANCEL when the user gave up,
    /// -1 when the window couldn't be made or went away.
    int DoModal(IZQViewFactory& factory, IZQPageView* owner);

    /// Reads the fields, trims path and label, and adds the track; on success
    /// ends the dialog with IDOK. An empty path, or the multiplexer's failure,
    /// shows a message captioned "Error" and keeps the dialog open with the
    /// focus on the path. Raises E_OUTOFMEMORY when a BSTR can't be made.
    void OnOK() override;
    /// Ends the dialog with IDCANCEL; nothing changes.
    void OnCancel() override;
    /// A file chooser seeded with m_path (not the field), SubRip files shown
    /// first; a chosen file goes into m_path and the field.
    void OnBrowse() override;

    /// What the dialog says of a failure status: the platform's text, trimmed,
    /// ending in ".".
    static std::u16string StatusText(HRESULT status);

    /// Path of the SubRip file.
    std::u16string m_path;
    /// ISO 639-2/B code of the chosen language, or empty for none.
    std::u16string m_language;
    /// Label of the track; optional.
    std::u16string m_label;
    /// The object to add to.
    CComPtr<IZQMuxSubtitle> m_mux;
    /// Id of the new track after IDOK; 0 before.
    LONG m_trackid = 0;

private:
    void OnInitDialog();

    // The window while DoModal runs; null otherwise.
    IZQAddTrackDialogView* m_view = nullptr;
};
