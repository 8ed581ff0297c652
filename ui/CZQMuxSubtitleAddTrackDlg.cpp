#include "ui/CZQMuxSubtitleAddTrackDlg.h"

#include <cstdio>

#include "subrip/SubRipScan.h"
#include "subtitle/LanguageTable.h"
#include "support/CStatusException.h"
#include "zqplatform/bstr.h"
#include "zqplatform/errors.h"

namespace {

constexpr char16_t kNoLanguage[] = u"< None >";
constexpr char16_t kErrorCaption[] = u"Error";
constexpr char16_t kEmptyPathMessage[] = u"You must specify a subtitle file path.";
constexpr DWORD kStatusTextCapacity = 2048;

/// A BSTR of `text`, never null: an empty text goes as an empty string.
CComBSTR MakeBstr(const std::u16string& text) {
    CComBSTR bstr(text);
    if (!bstr.IsAllocated())
        ZQThrowStatus(E_OUTOFMEMORY);
    return bstr;
}

}  // namespace

CZQMuxSubtitleAddTrackDlg::~CZQMuxSubtitleAddTrackDlg() {
    if (m_view != nullptr)
        m_view->Destroy();
}

int CZQMuxSubtitleAddTrackDlg::DoModal(IZQViewFactory& factory, IZQPageView* owner) {
    if (m_view != nullptr)
        return -1;
    if (FAILED(factory.CreateAddTrackDialogView(owner, this, &m_view)) || m_view == nullptr)
        return -1;
    OnInitDialog();
    const int result = m_view->RunModal();
    // Another dialog's window may not outlive its run.
    IZQAddTrackDialogView* view = m_view;
    m_view = nullptr;
    view->Destroy();
    return result;
}

void CZQMuxSubtitleAddTrackDlg::OnInitDialog() {
    m_view->AddLanguage(kNoLanguage);
    for (const LanguageRow& row : LanguageTable)
        m_view->AddLanguage(row.EnglishName);
    // An empty or unknown language is row -1, which selects "< None >".
    m_view->SetLanguageSelection(LookupLanguageKey(&LanguageHashByBibliographicCode, m_language.c_str()) + 1);
    m_view->LimitText(kZQPathEdit, kPathLimit);
    m_view->LimitText(kZQLabelEdit, kLabelLimit);
    m_view->SetText(kZQLabelEdit, m_label);
    m_view->SetText(kZQPathEdit, m_path);
    m_view->FocusFirstControl();
}

void CZQMuxSubtitleAddTrackDlg::OnOK() {
    if (m_view == nullptr)
        return;
    m_path = m_view->GetText(kZQPathEdit);
    m_label = m_view->GetText(kZQLabelEdit);
    const int row = m_view->GetLanguageSelection() - 1;
    m_language = row >= 0 && row < kLanguageRowCount ? LanguageTable[row].BibliographicCode : u"";
    // The fields show the blanks until they are read again; the fields of
    // the object lose them now.
    m_path = ZQTrimLine(m_path);
    m_label = ZQTrimLine(m_label);

    if (m_path.empty()) {
        m_view->ShowMessage(kEmptyPathMessage, kErrorCaption, MB_ICONEXCLAMATION);
    } else {
        const CComBSTR path = MakeBstr(m_path);
        const CComBSTR label = MakeBstr(m_label);
        const CComBSTR language = MakeBstr(m_language);
        const HRESULT hr = m_mux->AddTextTrackFromFile(path, label, language, &m_trackid);
        if (SUCCEEDED(hr)) {
            m_view->EndDialog(IDOK);
            return;
        }
        m_view->ShowMessage(StatusText(hr), kErrorCaption, MB_ICONEXCLAMATION);
    }
    // The message box may have ended the window's run (the frame closed).
    if (m_view != nullptr)
        m_view->SetFocus(kZQPathEdit);
}

void CZQMuxSubtitleAddTrackDlg::OnCancel() {
    if (m_view != nullptr)
        m_view->EndDialog(IDCANCEL);
}

void CZQMuxSubtitleAddTrackDlg::OnBrowse() {
    if (m_view == nullptr)
        return;
    ZQOpenFileRequest request;
    // The seed is the path last read, which the chooser's buffer holds with
    // its NUL.
    request.file = m_path.substr(0, kMaxFile - 1);
    request.filters = {{u"All", u"*.*"}, {u"SubRip", u"*.srt"}};
    request.filterIndex = 2;
    request.maxFile = kMaxFile;
    request.fileMustExist = true;
    if (!m_view->GetOpenFileName(request))
        return;
    m_path = request.file;
    m_view->SetText(kZQPathEdit, m_path);
}

std::u16string CZQMuxSubtitleAddTrackDlg::StatusText(HRESULT status) {
    WCHAR buffer[kStatusTextCapacity];
    const DWORD length = AMGetErrorTextW(status, buffer, kStatusTextCapacity);
    std::u16string text(ZQTrimLine(std::u16string_view(buffer, length)));
    if (text.empty()) {
        // The platform has a text for every status; this is the box's text
        // should one ever come back empty.
        char number[32];
        std::snprintf(number, sizeof number, "Error 0x%08X", static_cast<unsigned>(status));
        text.assign(number, number + std::char_traits<char>::length(number));
    }
    if (text.back() != u'.')
        text += u'.';
    return text;
}
