// One subtitle stream: label, language, media type and cues, on either side.
#pragma once

#include <atomic>
#include <string>

#include "interfaces/CZQDispatchImpl.h"
#include "support/CComObjectRoot.h"
#include "support/CMediaTypeRecord.h"
#include "zqplatform/comptr.h"
#include "zqsubtitle/ZQSubtitle.h"

class CTextFile;
class CZQSubtitleCueList;

ZQ_BEGIN_INTERFACE_CLASS

/// A subtitle track, made as CComObjectCached<CZQSubtitleTrack> and shared by
/// every track list that holds it: the list's reference doesn't keep the
/// module loaded, any further one does. It takes no lock. Every operation that
/// changes it runs under the lock of the object that owns the live list (host
/// streaming thread, timing worker, pump, control calls take turns there);
/// application threads read the properties without that lock, which is sound
/// because label, language, kind and media type are set before the track
/// joins a list, and id and selection are single atomic words.
///
/// Multiplexer side: LoadFromFile, then Rewind and SendNext per run.
/// Demultiplexer side: InitFromMediaType, then AddSample and the stream
/// signals, and UpdateActive on every timing pass.
class CZQSubtitleTrack : public CComObjectRootEx, public CZQDispatchImpl<IZQSubtitleTrack> {
public:
    /// Makes an empty track with its own empty cue list; `*out` holds the
    /// caller's one reference. E_POINTER for a null `out`, E_OUTOFMEMORY;
    /// `*out` is null on failure.
    static HRESULT Create(CZQSubtitleTrack** out) noexcept;

    /// Second-phase construction: the cue list. E_OUTOFMEMORY without memory.
    HRESULT FinalConstruct() noexcept;

    /// Identity table: IUnknown, IZQSubtitleTrack and IDispatch, all this object.
    void* GetInterface(REFIID iid) noexcept;

    // IZQSubtitleTrack. Each gives E_POINTER for a null `pVal`, and a BSTR
    // result E_OUTOFMEMORY when it can't be allocated.
    HRESULT get_Label(BSTR* pVal) override;
    HRESULT get_Language(BSTR* pVal) override;
    HRESULT get_ID(LONG* pVal) override;
    HRESULT get_Kind(ZQSubtitle_Track_Kind* pVal) override;
    /// 1 for a selected track, not VARIANT_TRUE; 0 otherwise.
    HRESULT get_Selected(VARIANT_BOOL* pVal) override;
    /// The English name of the language's row, or an empty (non-null) BSTR
    /// when the table doesn't know the language.
    HRESULT get_LanguageName(BSTR* pVal) override;

    /// Loads a SubRip file as this track's cues. The file is read in the code
    /// page of `language` unless it tells its encoding itself, and is open
    /// only during the call. Failures of opening (0x80070002 for a missing
    /// file, E_POINTER for a null path) and of LoadFromText are returned as
    /// they stand; any other result is S_OK.
    HRESULT LoadFromFile(const WCHAR* path, const WCHAR* label, const WCHAR* language);

    /// Parses `file` (ParseSubRip); on success stores `label` and `language`
    /// as given (null reads as empty) and builds the subtitle media type with
    /// its SUBTITLEINFO block. A parse failure is returned and leaves label,
    /// language, media type and cues as they were. Raises the status exception
    /// E_OUTOFMEMORY when memory runs out. Kind, selection and id are the
    /// list's business and aren't touched.
    HRESULT LoadFromText(CTextFile& file, const WCHAR* label, const WCHAR* language);

    /// Reads every cue of `file` under this track's id, all or nothing: the
    /// cues replace the present ones only when the whole file parsed. S_OK,
    /// VFW_E_INVALID_FILE_FORMAT or the status of the file; E_OUTOFMEMORY as a
    /// status when no cue list can be made, raised when a cue can't.
    HRESULT ParseSubRip(CTextFile& file);

    /// Sets the track up from a host's media type: kind Text, a deep copy of
    /// the media type, the language from IsoLang (trimmed, "eng" when empty,
    /// then the table's two-letter or else terminologic code; an unknown code
    /// stays as it is) and the label from TrackName. Each field is read only
    /// up to its NUL or its end. E_POINTER for a null `mediaType`;
    /// VFW_E_INVALIDMEDIATYPE for other identifiers than the subtitle ones or
    /// for a format block that is missing or shorter than SUBTITLEINFO, and
    /// then the track is as it was; E_OUTOFMEMORY when the copy can't be made.
    HRESULT InitFromMediaType(const AM_MEDIA_TYPE* mediaType);

    LONG GetID() const noexcept { return m_id.load(std::memory_order_relaxed); }

    /// Gives the track and all its cues the id. E_INVALIDARG and no change
    /// when both the present and the new id are non-zero: a track leaves one
    /// live list (id 0) before it can join another. The first failure of a
    /// cue is returned.
    HRESULT SetID(LONG id) noexcept;

    /// Turns one host sample into a cue. Dropped with S_OK, data unread,
    /// while flushing or after the end of the stream. The bytes are UTF-8
    /// (invalid sequences become U+FFFD) up to the first NUL, trimmed at both
    /// ends; an empty text or a `stop` not after `start` makes no cue and is no
    /// failure. The cue's times are shifted by the segment start (wrapping in
    /// 64 bits). Raises the status exception E_INVALIDARG for a negative
    /// `length` or null `data` with a non-zero `length`, and E_OUTOFMEMORY.
    HRESULT AddSample(REFERENCE_TIME start, REFERENCE_TIME stop, const void* data, LONG length);

    /// Tests every cue against `time` plus the segment start, active only
    /// while the track is selected; see CZQSubtitleCueList::UpdateActive.
    HRESULT UpdateActive(IZQDmxSubtitleCallback* callback, REFERENCE_TIME time);

    /// Makes every cue inactive without events; `*wasActive` becomes true if
    /// any was active and is otherwise left alone. S_OK.
    HRESULT DeactivateAll(bool* wasActive) noexcept;

    /// Starts a flush: samples are dropped until EndFlush, the end of the
    /// stream is forgotten and every cue goes, without events. S_OK.
    HRESULT BeginFlush() noexcept;
    /// Ends a flush; an end of stream that came during it still stands. S_OK.
    HRESULT EndFlush() noexcept;
    /// Samples are dropped from now on; the cues go on being tested. S_OK.
    HRESULT EndOfStream() noexcept;
    /// A new segment: its start shifts later samples and tests; the end of the
    /// stream is forgotten and every cue goes, without events. Stop and rate
    /// are kept but have no effect. S_OK.
    HRESULT NewSegment(REFERENCE_TIME start, REFERENCE_TIME stop, double rate) noexcept;

    /// Makes the track sendable again from its first cue. S_OK.
    HRESULT Rewind() noexcept;

    /// Sends the next cue to `callback`: 0 when a cue went out, or the
    /// negative status of the host's Receive. When no cue is left, tells the
    /// host EndOfStream once and answers 1 (or the negative status of that
    /// call); every later call answers 1 without a host call until Rewind.
    /// A null `callback` makes no calls. May raise E_OUTOFMEMORY.
    HRESULT SendNext(IZQMuxSubtitleControlCallback* callback);

    // Fields that the owners set directly: the track list (kind, selection,
    // host data) and the demultiplexer's SelectTrack (selection).
    ZQSubtitle_Track_Kind GetKind() const noexcept { return m_kind; }
    void SetKind(ZQSubtitle_Track_Kind kind) noexcept { m_kind = kind; }
    bool IsSelected() const noexcept { return m_selected.load(std::memory_order_relaxed); }
    void SetSelected(bool selected) noexcept { m_selected.store(selected, std::memory_order_relaxed); }
    LONGLONG GetTrackData() const noexcept { return m_trackData; }
    void SetTrackData(LONGLONG data) noexcept { m_trackData = data; }

    /// The media type the host is shown: valid while the track lives and
    /// isn't set up again.
    const AM_MEDIA_TYPE* GetMediaType() const noexcept { return &m_mediaType; }
    const std::u16string& GetLabel() const noexcept { return m_label; }
    const std::u16string& GetLanguage() const noexcept { return m_language; }
    bool IsFlushing() const noexcept { return m_flushing; }
    bool IsEndOfStream() const noexcept { return m_endOfStream; }
    REFERENCE_TIME GetSegmentStart() const noexcept { return m_segmentStart; }
    REFERENCE_TIME GetSegmentStop() const noexcept { return m_segmentStop; }
    double GetRate() const noexcept { return m_rate; }
    /// Number of cues the track holds.
    ULONG GetCueCount() const noexcept;

protected:
    CZQSubtitleTrack() noexcept = default;
    ~CZQSubtitleTrack() = default;

private:
    /// Builds the subtitle media type and its format block from m_label and
    /// m_language. Raises E_OUTOFMEMORY.
    void BuildMediaType();

    /// The only reference to the list; set by FinalConstruct, never null after.
    CComPtr<CZQSubtitleCueList> m_cueList;
    CMediaTypeRecord m_mediaType;
    bool m_flushing = false;
    bool m_endOfStream = false;
    std::atomic<LONG> m_id{0};
    REFERENCE_TIME m_segmentStart = 0;
    /// Kept for the record; no time is scaled or cut by it.
    REFERENCE_TIME m_segmentStop = 0;
    double m_rate = 1.0;
    ZQSubtitle_Track_Kind m_kind = ZQSubtitle_Track_Kind_Unknown;
    std::atomic<bool> m_selected{false};
    std::u16string m_language;
    std::u16string m_label;
    LONGLONG m_trackData = 0;
};

ZQ_END_INTERFACE_CLASS
