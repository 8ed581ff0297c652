#include "subrip/SubRipParser.h"

#include <string>

#include "subrip/CTextFile.h"
#include "subrip/SubRipScan.h"
#include "zqplatform/fileio.h"
#include "zqplatform/status.h"

namespace {

// The cue counter: a number and nothing behind it, so that the %c finds the
// end of the line and the scan stops at 1.
constexpr ZQScanFormat kCounterFormat("%d%c");
// Four numbers for each time, their separators any single character; what
// follows the stop time is not looked at.
constexpr ZQScanFormat kTimeFormat("%d%c%d%c%d%c%d --> %d%c%d%c%d%c%d\n");
constexpr int kTimeFields = 14;

constexpr uint64_t kUnitsPerMinute = 600000000;
constexpr uint64_t kUnitsPerSecond = 10000000;
constexpr uint64_t kUnitsPerMillisecond = 10000;

// Fields are not range-checked: negative numbers, minutes above 59 and
// milliseconds of any length all count as they stand. The arithmetic wraps
// in 64 bits rather than overflow, as hours near 2^31 would.
REFERENCE_TIME TimeFromFields(int32_t hours, int32_t minutes, int32_t seconds, int32_t milliseconds) noexcept {
    auto wide = [](int32_t value) { return static_cast<uint64_t>(static_cast<int64_t>(value)); };
    uint64_t units = wide(hours) * 60u * kUnitsPerMinute + wide(minutes) * kUnitsPerMinute +
                     wide(seconds) * kUnitsPerSecond + wide(milliseconds) * kUnitsPerMillisecond;
    return static_cast<REFERENCE_TIME>(units);
}

bool IsCounter(std::u16string_view trimmed) noexcept {
    int32_t fields[2];
    return ZQScanFields<kCounterFormat>(trimmed, fields) == 1;
}

// Reads the text of the cue whose time line gave `fields` into `text` (the
// caller's, so that its storage serves every cue), and adds the cue. Only a
// lone number behind at least one blank line ends the text; a read that
// doesn't give a line ends it too, and the main loop's next read then meets
// the same end or failure.
HRESULT ReadCue(CTextFile& file, std::u16string& line, std::u16string& text, const int32_t (&fields)[kTimeFields],
                CSubRipCueSink& cues) {
    text.clear();
    bool blankSeen = false;
    // A cue's text is a NUL-terminated string: a U+0000 in one of its lines
    // ends the text there, and that line's LF and every later line are lost,
    // though the lines still count for where the cue ends.
    bool textEnded = false;
    while (file.ReadLine(line) == S_OK) {
        std::u16string_view trimmed = ZQTrimLine(line);
        if (trimmed.empty())
            blankSeen = true;
        if (blankSeen && IsCounter(trimmed))
            break;
        if (textEnded)
            continue;
        text.append(trimmed);
        if (line.find(u'\0') != std::u16string::npos) {
            textEnded = true;
            continue;
        }
        text += u'\n';
    }
    REFERENCE_TIME start = TimeFromFields(fields[0], fields[2], fields[4], fields[6]);
    REFERENCE_TIME stop = TimeFromFields(fields[7], fields[9], fields[11], fields[13]);
    return cues.AddCue(text.data(), text.size(), start, stop);
}

HRESULT ParseLines(CTextFile& file, CSubRipCueSink& cues) {
    std::u16string line;
    std::u16string text;
    size_t count = 0;
    HRESULT hr = file.ReadLine(line);
    for (; hr == S_OK; hr = file.ReadLine(line)) {
        std::u16string_view trimmed = ZQTrimLine(line);
        if (trimmed.empty())
            continue;
        int32_t fields[kTimeFields];
        int converted = ZQScanFields<kTimeFormat>(trimmed, fields);
        // A lone number between cues is a counter and says nothing.
        if (converted == 1)
            continue;
        if (converted != kTimeFields)
            return VFW_E_INVALID_FILE_FORMAT;
        HRESULT added = ReadCue(file, line, text, fields, cues);
        if (FAILED(added))
            return added;
        ++count;
    }
    if (FAILED(hr))
        return hr;
    return count > 0 ? S_OK : VFW_E_INVALID_FILE_FORMAT;
}

}  // namespace

HRESULT ZQParseSubRip(CTextFile& file, CSubRipCueSink& cues) {
    HRESULT hr = file.Seek(0, ZQ_SEEK_SET);
    if (FAILED(hr))
        return hr;
    try {
        hr = ParseLines(file, cues);
    } catch (...) {
        cues.Clear();
        throw;
    }
    if (FAILED(hr))
        cues.Clear();
    return hr;
}
