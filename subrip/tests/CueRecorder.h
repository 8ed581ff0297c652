// Parses bytes as a SubRip file and records the cues the parser hands over,
// with their text in UTF-8 as a host would receive it.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "subrip/CSubRipCueSink.h"
#include "subrip/CTextFile.h"
#include "subrip/SubRipParser.h"
#include "subrip/tests/TestByteSource.h"
#include "zqplatform/text.h"

namespace zqsubriptest {

struct RecordedCue {
    REFERENCE_TIME start;
    REFERENCE_TIME stop;
    std::string text;  // UTF-8, up to the cue's first NUL

    bool operator==(const RecordedCue&) const = default;
};

inline void PrintTo(const RecordedCue& cue, std::ostream* os) {
    *os << "{" << cue.start << ", " << cue.stop << ", \"";
    for (char c : cue.text)
        *os << (c == '\n' ? std::string("\\n") : std::string(1, c));
    *os << "\"}";
}

/// A sink that keeps what the parser hands it, and whether it was cleared.
class CueRecorder final : public CSubRipCueSink {
public:
    HRESULT AddCue(const WCHAR* text, size_t, REFERENCE_TIME start, REFERENCE_TIME stop) override {
        // Converted as a cue converts its text for the host: up to its NUL.
        const int size = WideCharToMultiByte(CP_UTF8, 0, text, -1, nullptr, 0, nullptr, nullptr);
        std::string utf8(size > 0 ? static_cast<size_t>(size) : 1, '\0');
        if (size > 0)
            WideCharToMultiByte(CP_UTF8, 0, text, -1, utf8.data(), size, nullptr, nullptr);
        utf8.pop_back();
        m_cues.push_back({start, stop, std::move(utf8)});
        return S_OK;
    }
    void Clear() noexcept override {
        m_cues.clear();
        ++m_clears;
    }

    const std::vector<RecordedCue>& Cues() const { return m_cues; }
    int Clears() const { return m_clears; }

private:
    std::vector<RecordedCue> m_cues;
    int m_clears = 0;
};

struct ParseResult {
    HRESULT status = E_UNEXPECTED;
    CTextFile::Encoding encoding = CTextFile::Encoding_Auto;
    std::vector<RecordedCue> cues;
};

/// Opens `path` as a track's load does and parses it.
inline ParseResult ParseFile(const std::u16string& path, UINT codePage) {
    ParseResult result;
    CTextFile file(CTextFile::Encoding_Auto, codePage);
    result.status = file.Open(path.c_str());
    if (FAILED(result.status))
        return result;
    result.encoding = file.GetEncoding();
    CueRecorder recorder;
    result.status = ZQParseSubRip(file, recorder);
    result.cues = recorder.Cues();
    return result;
}

/// Parses `bytes` as a file of them would be.
inline ParseResult ParseBytes(const std::string& bytes, UINT codePage = 1252) {
    ParseResult result;
    CTextFile file(CTextFile::Encoding_Auto, codePage);
    result.status = file.Open(std::make_unique<TestByteSource>(bytes));
    if (FAILED(result.status))
        return result;
    result.encoding = file.GetEncoding();
    CueRecorder recorder;
    result.status = ZQParseSubRip(file, recorder);
    result.cues = recorder.Cues();
    return result;
}

}  // namespace zqsubriptest
