// Arbitrary bytes through the text file reader and the SubRip parser, in every
// encoding and with read-ahead blocks of several sizes. Besides the
// sanitizers' findings it checks what must hold for any input: a line never
// holds CR or LF, the block size never changes a line, and the parser's
// all-or-nothing rule.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "subrip/CMemoryByteSource.h"
#include "subrip/CTextFile.h"
#include "subrip/SubRipParser.h"

namespace {

/// Counts the cues and keeps the rule that a failed parse clears them.
class CCountingSink final : public CSubRipCueSink {
public:
    HRESULT AddCue(const WCHAR* text, size_t length, REFERENCE_TIME, REFERENCE_TIME) override {
        // A cue's text is counted and NUL-terminated, and holds no NUL: a
        // U+0000 in a line ends the text there, without that line's LF.
        if (text[length] != u'\0' || std::u16string_view(text, length).find(u'\0') != std::u16string_view::npos)
            std::abort();
        ++m_cues;
        return S_OK;
    }
    void Clear() noexcept override { m_cues = 0; }
    size_t Cues() const noexcept { return m_cues; }

private:
    size_t m_cues = 0;
};

constexpr CTextFile::Encoding kEncodings[] = {
    CTextFile::Encoding_Auto,     CTextFile::Encoding_Ascii,   CTextFile::Encoding_CodePage,
    CTextFile::Encoding_Utf8,     CTextFile::Encoding_Utf16LE, CTextFile::Encoding_Utf16BE,
};
constexpr UINT kCodePages[] = {1252, 1251, 932, 936, 949, 950, 65001, 12345};
constexpr size_t kBlockSizes[] = {1, 2, 3, 7, 64, 4096};

void Check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "broken: %s\n", what);
        std::abort();
    }
}

struct Reading {
    HRESULT status = S_OK;
    CTextFile::Encoding encoding = CTextFile::Encoding_Auto;
    std::vector<std::u16string> lines;
};

Reading ReadAll(std::string_view bytes, CTextFile::Encoding encoding, UINT codePage, size_t blockSize) {
    Reading reading;
    CTextFile file(encoding, codePage, blockSize);
    reading.status = file.Open(std::make_unique<CMemoryByteSource>(bytes));
    if (FAILED(reading.status))
        return reading;
    reading.encoding = file.GetEncoding();
    Check(reading.encoding != CTextFile::Encoding_Auto, "an open file has an encoding");
    std::u16string line;
    while ((reading.status = file.ReadLine(line)) == S_OK) {
        Check(line.find_first_of(u"\r\n") == std::u16string::npos, "a line holds no CR or LF");
        reading.lines.push_back(line);
    }
    Check(reading.status == S_FALSE, "reading bytes that can't fail ends at their end");
    Check(line.empty(), "the end gives an empty line");
    LONGLONG position = -1;
    LONGLONG length = -2;
    Check(SUCCEEDED(file.GetPosition(position)) && SUCCEEDED(file.GetLength(length)), "positions are known");
    Check(position == length || (reading.encoding >= CTextFile::Encoding_Utf16LE && position + 1 == length),
          "the end of the text is the end of the file");
    return reading;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size < 1)
        return 0;
    const uint8_t selector = data[0];
    const CTextFile::Encoding encoding = kEncodings[selector % std::size(kEncodings)];
    const UINT codePage = kCodePages[(selector / 6) % std::size(kCodePages)];
    const size_t blockSize = kBlockSizes[(selector / 48) % std::size(kBlockSizes)];
    // The reader takes the bytes from memory, as it would from a file.
    const std::string_view bytes(reinterpret_cast<const char*>(data + 1), size - 1);

    Reading small = ReadAll(bytes, encoding, codePage, blockSize);
    Reading large = ReadAll(bytes, encoding, codePage, CTextFile::kDefaultBlockSize);
    Check(small.status == large.status && small.encoding == large.encoding, "block size changes no status");
    Check(small.lines == large.lines, "block size changes no line");

    CTextFile file(encoding, codePage, blockSize);
    if (FAILED(file.Open(std::make_unique<CMemoryByteSource>(bytes))))
        return 0;
    CCountingSink cues;
    HRESULT hr = ZQParseSubRip(file, cues);
    Check(hr == S_OK || hr == VFW_E_INVALID_FILE_FORMAT, "a readable file parses or is refused");
    Check((hr == S_OK) == (cues.Cues() > 0), "all or nothing");
    return 0;
}
