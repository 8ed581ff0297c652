#include "subtitle/CZQSubtitleTrack.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "subrip/CTextFile.h"
#include "subrip/SubRipParser.h"
#include "subrip/SubRipScan.h"
#include "subtitle/CZQSubtitleCueList.h"
#include "subtitle/LanguageTable.h"
#include "support/CComObjectCached.h"
#include "support/CStatusException.h"
#include "zqplatform/oleauto.h"
#include "zqplatform/text.h"
#include "zqsubtitle/ZQSubtitleMediaType.h"

namespace {

/// The language a host leaves blank is taken to be English.
constexpr char16_t kDefaultIsoLanguage[] = u"eng";

/// Code units of IsoLang that the writer fills; the fourth is its NUL.
constexpr size_t kIsoLangMaxChars = 3;

/// Adds in 64 bits with wrap-around: host times are taken as they come, and
/// a segment start near the ends of the range must not be undefined.
REFERENCE_TIME AddWrapping(REFERENCE_TIME a, REFERENCE_TIME b) noexcept {
    return static_cast<REFERENCE_TIME>(static_cast<uint64_t>(a) + static_cast<uint64_t>(b));
}

/// Hands the parser's cues to a track's cue list, with the track's id.
class CCueListSink final : public CSubRipCueSink {
public:
    CCueListSink(CZQSubtitleCueList& cues, LONG trackid) noexcept : m_cues(cues), m_trackid(trackid) {}

    HRESULT AddCue(const WCHAR* text, size_t length, REFERENCE_TIME start, REFERENCE_TIME stop) override {
        return m_cues.AddCue(m_trackid, text, length, start, stop);
    }
    void Clear() noexcept override { m_cues.Clear(); }

private:
    CZQSubtitleCueList& m_cues;
    const LONG m_trackid;
};

HRESULT NewBstr(const std::u16string_view text, BSTR* out) noexcept {
    BSTR copy = SysAllocStringLen(text.data(), static_cast<UINT>(text.size()));
    if (copy == nullptr)
        return E_OUTOFMEMORY;
    *out = copy;
    return S_OK;
}

std::u16string_view ViewOf(const WCHAR* text) noexcept {
    return text != nullptr ? std::u16string_view(text) : std::u16string_view();
}

/// The narrow form (thread code page) of a language code from the table. The
/// codes are ASCII, so at most one byte per unit comes out; anything else is
/// cut at the field's width.
size_t NarrowIsoCode(const WCHAR* code, char (&out)[kIsoLangMaxChars]) noexcept {
    const size_t units = std::u16string_view(code).size();
    if (units == 0)
        return 0;
    char buffer[16];
    const INT written = WideCharToMultiByte(CP_THREAD_ACP, 0, code, static_cast<INT>(std::min<size_t>(units, 8)),
                                            buffer, sizeof(buffer), nullptr, nullptr);
    if (written <= 0)
        return 0;
    const size_t count = std::min<size_t>(static_cast<size_t>(written), kIsoLangMaxChars);
    std::memcpy(out, buffer, count);
    return count;
}

/// IsoLang of a host's block as wide text: up to its NUL, never past its four
/// bytes, converted with the thread code page and trimmed.
std::u16string ReadIsoLang(const BYTE* block) {
    char field[sizeof(SUBTITLEINFO::IsoLang)];
    std::memcpy(field, block + offsetof(SUBTITLEINFO, IsoLang), sizeof(field));
    const size_t bytes = ::strnlen(field, sizeof(field));
    if (bytes == 0)
        return std::u16string();
    // A single-byte code page gives one unit per byte; the room is generous.
    WCHAR wide[2 * sizeof(field)];
    const INT units = MultiByteToWideChar(CP_THREAD_ACP, 0, field, static_cast<INT>(bytes), wide,
                                          static_cast<INT>(std::size(wide)));
    if (units <= 0)
        return std::u16string();
    return std::u16string(ZQTrimLine(std::u16string_view(wide, static_cast<size_t>(units))));
}

/// The language of a host's IsoLang as this system names it: the two-letter
/// code where the table has one, else the terminologic one ("ger" and "deu"
/// both give "de"); a code the table doesn't know stays as it is.
std::u16string LanguageFromIsoLang(std::u16string code) {
    if (code.empty())
        code = kDefaultIsoLanguage;
    const int32_t row = FindLanguageRow(code.c_str());
    if (row == kNoLanguageRow)
        return code;
    const LanguageRow& language = LanguageTable[row];
    if (language.TwoLetterCode[0] != 0)
        return std::u16string(language.TwoLetterCode);
    return std::u16string(language.TerminologicCode);
}

/// TrackName of a host's block: up to its NUL, never past its 256 units.
std::u16string ReadTrackName(const BYTE* block) {
    WCHAR field[std::size(SUBTITLEINFO{}.TrackName)];
    std::memcpy(field, block + offsetof(SUBTITLEINFO, TrackName), sizeof(field));
    size_t units = 0;
    while (units < std::size(field) && field[units] != 0)
        ++units;
    return std::u16string(field, units);
}

}  // namespace

HRESULT CZQSubtitleTrack::Create(CZQSubtitleTrack** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    CComObjectCached<CZQSubtitleTrack>* shell = nullptr;
    const HRESULT hr = CComObjectCached<CZQSubtitleTrack>::CreateInstance(&shell);
    if (FAILED(hr))
        return hr;
    shell->AddRef();
    *out = shell;
    return S_OK;
}

HRESULT CZQSubtitleTrack::FinalConstruct() noexcept {
    CZQSubtitleCueList* list = nullptr;
    const HRESULT hr = CZQSubtitleCueList::Create(&list);
    if (FAILED(hr))
        return hr;
    m_cueList.Attach(list);
    return S_OK;
}

void* CZQSubtitleTrack::GetInterface(REFIID iid) noexcept {
    return ZQFindInterface<IZQSubtitleTrack, IDispatch>(this, iid);
}

HRESULT CZQSubtitleTrack::get_Label(BSTR* pVal) {
    if (pVal == nullptr)
        return E_POINTER;
    return NewBstr(m_label, pVal);
}

HRESULT CZQSubtitleTrack::get_Language(BSTR* pVal) {
    if (pVal == nullptr)
        return E_POINTER;
    return NewBstr(m_language, pVal);
}

HRESULT CZQSubtitleTrack::get_ID(LONG* pVal) {
    if (pVal == nullptr)
        return E_POINTER;
    *pVal = GetID();
    return S_OK;
}

HRESULT CZQSubtitleTrack::get_Kind(ZQSubtitle_Track_Kind* pVal) {
    if (pVal == nullptr)
        return E_POINTER;
    *pVal = m_kind;
    return S_OK;
}

HRESULT CZQSubtitleTrack::get_Selected(VARIANT_BOOL* pVal) {
    if (pVal == nullptr)
        return E_POINTER;
    // The flag widened as it stands: scripts have always seen 1 here.
    *pVal = IsSelected() ? 1 : 0;
    return S_OK;
}

HRESULT CZQSubtitleTrack::get_LanguageName(BSTR* pVal) {
    if (pVal == nullptr)
        return E_POINTER;
    const int32_t row = FindLanguageRow(m_language.c_str());
    if (row == kNoLanguageRow)
        return NewBstr(std::u16string_view(), pVal);
    return NewBstr(LanguageTable[row].EnglishName, pVal);
}

HRESULT CZQSubtitleTrack::LoadFromFile(const WCHAR* path, const WCHAR* label, const WCHAR* language) {
    CTextFile file(CTextFile::Encoding_Auto, GetLanguageCodePage(language));
    HRESULT hr = file.Open(path);
    if (FAILED(hr))
        return hr;
    hr = LoadFromText(file, label, language);
    return FAILED(hr) ? hr : S_OK;
}

HRESULT CZQSubtitleTrack::LoadFromText(CTextFile& file, const WCHAR* label, const WCHAR* language) {
    const HRESULT hr = ParseSubRip(file);
    if (FAILED(hr))
        return hr;
    m_label = ViewOf(label);
    m_language = ViewOf(language);
    BuildMediaType();
    return S_OK;
}

HRESULT CZQSubtitleTrack::ParseSubRip(CTextFile& file) {
    // Parsed into a list of its own, so that a file that fails halfway, or a
    // second file, never leaves the track with a mixture of cues.
    CComPtr<CZQSubtitleCueList> parsed;
    HRESULT hr = CZQSubtitleCueList::Create(&parsed);
    if (FAILED(hr))
        return hr;
    CCueListSink sink(*parsed, GetID());
    hr = ZQParseSubRip(file, sink);
    if (FAILED(hr))
        return hr;
    m_cueList = parsed;
    return hr;
}

void CZQSubtitleTrack::BuildMediaType() {
    // Free before Init, which frees nothing: a track set up a second time
    // must not leak the block or the reference of the first set-up.
    m_mediaType.Free();
    m_mediaType.Init();
    m_mediaType.SetSampleSize(1);
    m_mediaType.majortype = MEDIATYPE_Subtitle;
    m_mediaType.subtype = MEDIASUBTYPE_UTF8;
    m_mediaType.formattype = FORMAT_SubtitleInfo;

    BYTE* block = m_mediaType.AllocFormat(kSubtitleInfoSize);
    if (block == nullptr)
        ZQThrowStatus(E_OUTOFMEMORY);
    std::memset(block, 0, kSubtitleInfoSize);

    const int32_t row = FindLanguageRow(m_language.c_str());
    if (row != kNoLanguageRow) {
        char code[kIsoLangMaxChars];
        const size_t count = NarrowIsoCode(LanguageTable[row].BibliographicCode, code);
        std::memcpy(block + offsetof(SUBTITLEINFO, IsoLang), code, count);
    }

    // Code units, not characters: a surrogate pair across the field's end is
    // cut like any other label, and the Label property keeps it whole.
    const size_t units = std::min(m_label.size(), kTrackNameMaxUnits);
    std::memcpy(block + offsetof(SUBTITLEINFO, TrackName), m_label.data(), units * sizeof(WCHAR));

    const DWORD size = kSubtitleInfoSize;
    std::memcpy(block + offsetof(SUBTITLEINFO, dwOffset), &size, sizeof(size));
}

HRESULT CZQSubtitleTrack::InitFromMediaType(const AM_MEDIA_TYPE* mediaType) {
    if (mediaType == nullptr)
        return E_POINTER;
    if (mediaType->majortype != MEDIATYPE_Subtitle || mediaType->subtype != MEDIASUBTYPE_UTF8 ||
        mediaType->formattype != FORMAT_SubtitleInfo)
        return VFW_E_INVALIDMEDIATYPE;
    // The fields are read from the host's block, so it must hold them all.
    if (mediaType->pbFormat == nullptr || mediaType->cbFormat < kSubtitleInfoSize)
        return VFW_E_INVALIDMEDIATYPE;

    // Everything that can raise comes before the first change of the track.
    std::u16string language = LanguageFromIsoLang(ReadIsoLang(mediaType->pbFormat));
    std::u16string label = ReadTrackName(mediaType->pbFormat);
    const HRESULT hr = m_mediaType.Assign(mediaType);
    if (FAILED(hr))
        return hr;
    m_kind = ZQSubtitle_Track_Kind_Text;
    m_language.swap(language);
    m_label.swap(label);
    return S_OK;
}

HRESULT CZQSubtitleTrack::SetID(LONG id) noexcept {
    if (GetID() != 0 && id != 0)
        return E_INVALIDARG;
    m_id.store(id, std::memory_order_relaxed);
    return m_cueList->SetTrackID(id);
}

HRESULT CZQSubtitleTrack::AddSample(REFERENCE_TIME start, REFERENCE_TIME stop, const void* data, LONG length) {
    if (m_flushing || m_endOfStream)
        return S_OK;
    if (length < 0 || (data == nullptr && length != 0))
        ZQThrowStatus(E_INVALIDARG);

    // The sample carries no terminator; its text ends at the first NUL inside.
    const auto* bytes = static_cast<const char*>(data);
    const void* nul = length != 0 ? std::memchr(bytes, 0, static_cast<size_t>(length)) : nullptr;
    const INT count = nul != nullptr ? static_cast<INT>(static_cast<const char*>(nul) - bytes) : length;
    if (count == 0)
        return S_OK;
    const INT units = MultiByteToWideChar(CP_UTF8, 0, bytes, count, nullptr, 0);
    if (units <= 0)
        return S_OK;
    std::u16string text(static_cast<size_t>(units), u'\0');
    if (MultiByteToWideChar(CP_UTF8, 0, bytes, count, text.data(), units) != units)
        return S_OK;

    const std::u16string_view trimmed = ZQTrimLine(text);
    // A sample without text or without a real duration is dropped; it gets
    // no default duration.
    if (trimmed.empty() || stop <= start)
        return S_OK;
    return m_cueList->AddCue(GetID(), trimmed.data(), trimmed.size(), AddWrapping(start, m_segmentStart),
                             AddWrapping(stop, m_segmentStart));
}

HRESULT CZQSubtitleTrack::UpdateActive(IZQDmxSubtitleCallback* callback, REFERENCE_TIME time) {
    // Cue times include the segment start, so the tested time must too.
    return m_cueList->UpdateActive(IsSelected(), callback, AddWrapping(time, m_segmentStart));
}

HRESULT CZQSubtitleTrack::DeactivateAll(bool* wasActive) noexcept {
    return m_cueList->DeactivateAll(wasActive);
}

HRESULT CZQSubtitleTrack::BeginFlush() noexcept {
    m_flushing = true;
    m_endOfStream = false;
    m_cueList->Clear();
    return S_OK;
}

HRESULT CZQSubtitleTrack::EndFlush() noexcept {
    m_flushing = false;
    return S_OK;
}

HRESULT CZQSubtitleTrack::EndOfStream() noexcept {
    m_endOfStream = true;
    return S_OK;
}

HRESULT CZQSubtitleTrack::NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept {
    m_segmentStart = start;
    m_segmentStop = stop;
    m_rate = rate;
    m_endOfStream = false;
    m_cueList->Clear();
    return S_OK;
}

HRESULT CZQSubtitleTrack::Rewind() noexcept {
    m_endOfStream = false;
    return m_cueList->Rewind();
}

HRESULT CZQSubtitleTrack::SendNext(IZQMuxSubtitleControlCallback* callback) {
    if (m_endOfStream)
        return S_FALSE;
    const HRESULT hr = m_cueList->SendNext(callback);
    if (hr != S_FALSE)
        return hr;
    // Set before the call, so that the host hears of the end once even if
    // it refuses to.
    m_endOfStream = true;
    if (callback == nullptr)
        return S_FALSE;
    const HRESULT eos = callback->EndOfStream(GetID());
    return FAILED(eos) ? eos : S_FALSE;
}

ULONG CZQSubtitleTrack::GetCueCount() const noexcept {
    return m_cueList->GetCount();
}
