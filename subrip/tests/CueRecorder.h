// Parses bytes as a SubRip file and records the cues as the multiplexer hands
// them to a host: through SendNext, with UTF-8 text.
#pragma once

#include <string>
#include <vector>

#include "subrip/CTextFile.h"
#include "subrip/SubRipParser.h"
#include "subrip/tests/ScratchFile.h"
#include "subtitle/CZQSubtitleCueList.h"
#include "support/CComPtr.h"
#include "zqsubtitle/ZQSubtitle.h"

namespace zqsubriptest {

struct RecordedCue {
    LONG trackid;
    REFERENCE_TIME start;
    REFERENCE_TIME stop;
    std::string text;  // UTF-8, as the host receives it

    bool operator==(const RecordedCue&) const = default;
};

inline void PrintTo(const RecordedCue& cue, std::ostream* os) {
    *os << "{" << cue.trackid << ", " << cue.start << ", " << cue.stop << ", \"";
    for (char c : cue.text)
        *os << (c == '\n' ? std::string("\\n") : std::string(1, c));
    *os << "\"}";
}

// Interfaces have no virtual destructor by contract; the recorder is never
// deleted through one.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// A host callback on the test's stack that keeps what Receive gives.
class CueRecorder final : public IZQMuxSubtitleControlCallback {
public:
    HRESULT QueryInterface(REFIID, void** out) override {
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG AddRef() override { return 2; }
    ULONG Release() override { return 1; }
    HRESULT Receive(LONG trackid, REFERENCE_TIME start, REFERENCE_TIME stop, BYTE* data, LONG length) override {
        m_cues.push_back({trackid, start, stop, std::string(reinterpret_cast<const char*>(data), length)});
        return S_OK;
    }
    HRESULT EndOfStream(LONG) override { return S_OK; }
    HRESULT AddTrack(const AM_MEDIA_TYPE*, LONG) override { return S_OK; }
    HRESULT RemoveAllTracks() override { return S_OK; }
    HRESULT RemoveTrack(LONG) override { return S_OK; }

    /// Every cue of `list`, from the first.
    std::vector<RecordedCue> Drain(CZQSubtitleCueList& list) {
        m_cues.clear();
        list.Rewind();
        while (list.SendNext(this) == 0) {}
        return m_cues;
    }

private:
    std::vector<RecordedCue> m_cues;
};

#pragma GCC diagnostic pop

inline CComPtr<CZQSubtitleCueList> NewCueList() {
    CComPtr<CZQSubtitleCueList> list;
    CZQSubtitleCueList::Create(&list);
    return list;
}

struct ParseResult {
    HRESULT status = E_UNEXPECTED;
    CTextFile::Encoding encoding = CTextFile::Encoding_Auto;
    std::vector<RecordedCue> cues;
};

/// Opens `path` as a track's load does and parses it for track 7.
inline ParseResult ParseFile(const std::u16string& path, UINT codePage) {
    ParseResult result;
    CTextFile file(CTextFile::Encoding_Auto, codePage);
    result.status = file.Open(path.c_str());
    if (FAILED(result.status))
        return result;
    result.encoding = file.GetEncoding();
    CComPtr<CZQSubtitleCueList> list = NewCueList();
    result.status = ZQParseSubRip(file, 7, *list);
    result.cues = CueRecorder().Drain(*list);
    return result;
}

inline ParseResult ParseBytes(const std::string& bytes, UINT codePage = 1252) {
    return ParseFile(ScratchFile(bytes).WidePath(), codePage);
}

}  // namespace zqsubriptest
