// The text file reader: encodings, line ends, block boundaries, positions and failures.
#include "subrip/CTextFile.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>
#include <tuple>
#include <vector>

#include "subrip/tests/ScratchFile.h"
#include "subrip/tests/TestByteSource.h"
#include "tests/support/HResultAssertions.h"

namespace {

using zqsubriptest::Bytes;
using zqsubriptest::ScratchFile;
using zqsubriptest::TestByteSource;
using Lines = std::vector<std::u16string>;
using namespace std::string_literals;

constexpr HRESULT kHandleEof = HRESULT_FROM_WIN32(ERROR_HANDLE_EOF);

// Reads to the end; the end stays the end.
Lines ReadAll(CTextFile& file) {
    Lines lines;
    std::u16string line = u"stale";
    for (;;) {
        HRESULT hr = file.ReadLine(line);
        if (hr == S_FALSE) {
            EXPECT_TRUE(line.empty());
            EXPECT_HR(S_FALSE, file.ReadLine(line));
            return lines;
        }
        if (hr != S_OK) {
            ADD_FAILURE() << "ReadLine failed: " << zqtest::DescribeStatus(hr);
            return lines;
        }
        lines.push_back(line);
    }
}

// The standard library's conversion: the reader is checked against code that isn't ours.
std::string Utf8(std::u16string_view text) {
    std::u8string bytes = std::filesystem::path(text).u8string();
    return std::string(bytes.begin(), bytes.end());
}

std::string Latin1(std::u16string_view text) {
    std::string out;
    for (char16_t c : text)
        out += static_cast<char>(c);
    return out;
}

std::string Utf16(std::u16string_view text, bool bigEndian) {
    std::string out = bigEndian ? "\xFE\xFF" : "\xFF\xFE";
    for (char16_t c : text) {
        char high = static_cast<char>(c >> 8);
        char low = static_cast<char>(c & 0xFF);
        out += bigEndian ? high : low;
        out += bigEndian ? low : high;
    }
    return out;
}

struct EncodingCase {
    const char* name;
    CTextFile::Encoding detected;
    std::u16string accented;  // the one line that shows the encoding
    std::string (*encode)(std::u16string_view);
};

const EncodingCase kEncodings[] = {
    {"Ascii", CTextFile::Encoding_Ascii, u"plain words", Latin1},
    {"Cp1252", CTextFile::Encoding_CodePage, u"h\u00E9llo w\u00F6rld \u00FF", Latin1},
    {"Utf8", CTextFile::Encoding_Utf8, u"h\u00E9llo \u20AC \u0416", Utf8},
    {"Utf8Bom", CTextFile::Encoding_Utf8, u"h\u00E9llo \u20AC \u3042",
     [](std::u16string_view t) { return "\xEF\xBB\xBF" + Utf8(t); }},
    {"Utf16LE", CTextFile::Encoding_Utf16LE, u"\u0A0D \u3042 \U0001D11E \uFEFF",
     [](std::u16string_view t) { return Utf16(t, false); }},
    {"Utf16BE", CTextFile::Encoding_Utf16BE, u"\u0D0A \u3042 \U0001D11E",
     [](std::u16string_view t) { return Utf16(t, true); }},
};

enum class Ending { Lf, CrLf, Cr, Mixed };
const char* const kEndingNames[] = {"Lf", "CrLf", "Cr", "Mixed"};

std::u16string EndingAt(Ending ending, size_t index) {
    static const std::u16string kEnds[] = {u"\n", u"\r\n", u"\r"};
    return kEnds[ending == Ending::Mixed ? index % 3 : static_cast<size_t>(ending)];
}

using LineEndParam = std::tuple<size_t, Ending, bool, size_t>;

class TextFileLineEnds : public ::testing::TestWithParam<LineEndParam> {};

TEST_P(TextFileLineEnds, DeliversTheLinesThatLfEnds) {
    const auto& [encodingIndex, ending, trailing, blockSize] = GetParam();
    const EncodingCase& encoding = kEncodings[encodingIndex];
    const Lines content = {u"first", u"", encoding.accented, u"  spaced\t", u"x", u"last"};

    // Only LF ends a line; CR vanishes wherever it stands.
    std::u16string text;
    Lines expected;
    std::u16string pending;
    for (size_t i = 0; i < content.size(); ++i) {
        text += content[i];
        pending += content[i];
        if (i + 1 == content.size() && !trailing)
            break;
        std::u16string end = EndingAt(ending, i);
        text += end;
        if (end.find(u'\n') != std::u16string::npos) {
            expected.push_back(pending);
            pending.clear();
        }
    }
    if (!pending.empty())
        expected.push_back(pending);

    CTextFile file(CTextFile::Encoding_Auto, 1252, blockSize);
    ASSERT_OK(file.Open(Bytes(encoding.encode(text))));
    EXPECT_EQ(encoding.detected, file.GetEncoding());
    EXPECT_EQ(expected, ReadAll(file));
}

INSTANTIATE_TEST_SUITE_P(
    EveryEncodingEndingAndBlock, TextFileLineEnds,
    ::testing::Combine(::testing::Range<size_t>(0, std::size(kEncodings)),
                       ::testing::Values(Ending::Lf, Ending::CrLf, Ending::Cr, Ending::Mixed), ::testing::Bool(),
                       ::testing::Values<size_t>(1, 2, 3, 5, 64, CTextFile::kDefaultBlockSize)),
    [](const ::testing::TestParamInfo<LineEndParam>& param) {
        return std::string(kEncodings[std::get<0>(param.param)].name) + "_" +
               kEndingNames[static_cast<int>(std::get<1>(param.param))] +
               (std::get<2>(param.param) ? "_Trailing_" : "_Open_") + std::to_string(std::get<3>(param.param));
    });

struct DetectionCase {
    const char* name;
    std::string bytes;
    CTextFile::Encoding encoding;
    LONGLONG textStart;
    Lines lines;
};

class TextFileDetection : public ::testing::TestWithParam<std::tuple<DetectionCase, size_t>> {};

TEST_P(TextFileDetection, DecidesTheEncodingAndReadsTheText) {
    const auto& [c, blockSize] = GetParam();
    CTextFile file(CTextFile::Encoding_Auto, 1252, blockSize);
    ASSERT_OK(file.Open(Bytes(c.bytes)));
    EXPECT_EQ(c.encoding, file.GetEncoding());
    EXPECT_EQ(c.textStart, file.GetTextStart());
    EXPECT_EQ(c.lines, ReadAll(file));
}

INSTANTIATE_TEST_SUITE_P(
    MarksAndScan, TextFileDetection,
    ::testing::Combine(
        ::testing::Values(
            DetectionCase{"Empty", "", CTextFile::Encoding_Ascii, 0, {}},
            DetectionCase{"OneByte", "a", CTextFile::Encoding_Ascii, 0, {u"a"}},
            DetectionCase{"LineThenEmptyLine", "a\n\n", CTextFile::Encoding_Ascii, 0, {u"a", u""}},
            DetectionCase{"OnlyCr", "\r", CTextFile::Encoding_Ascii, 0, {}},
            DetectionCase{"OnlyUtf16Mark", "\xFF\xFE", CTextFile::Encoding_Utf16LE, 2, {}},
            DetectionCase{"Utf16OddLastByte", "\xFF\xFE" "A\0\n\0B"s, CTextFile::Encoding_Utf16LE, 2, {u"A"}},
            DetectionCase{"Utf32MarkIsUtf16", "\xFF\xFE\0\0A\0\0\0"s, CTextFile::Encoding_Utf16LE, 2,
                          {u"\0A\0"s}},
            DetectionCase{"Utf16BeNulAndMark", "\xFE\xFF\0a\xFE\xFF\0\n"s, CTextFile::Encoding_Utf16BE, 2,
                          {u"a\uFEFF"}},
            DetectionCase{"CutUtf8Mark", "\xEF\xBB", CTextFile::Encoding_Utf8, 0, {}},
            DetectionCase{"Utf8MarkNeedsThirdByte", "\xEF\xBB\x41", CTextFile::Encoding_CodePage, 0,
                          {u"\u00EF\u00BBA"}},
            DetectionCase{"NulByte", "ab\0cd\nef"s, CTextFile::Encoding_CodePage, 0, {u"ab", u"ef"}},
            DetectionCase{"TwoByteUtf8", "\xC3\xA9", CTextFile::Encoding_Utf8, 0, {u"\u00E9"}},
            DetectionCase{"CutAtEndIsUtf8", "ab\xE9", CTextFile::Encoding_Utf8, 0, {u"ab"}},
            DetectionCase{"CutThreeByteAtEnd", "\xE2\x82", CTextFile::Encoding_Utf8, 0, {}},
            DetectionCase{"BadTrailIsCodePage", "\xE9\x41\x0A", CTextFile::Encoding_CodePage, 0, {u"\u00E9A"}},
            DetectionCase{"LoneTrailIsCodePage", "a\x80", CTextFile::Encoding_CodePage, 0, {u"a\u20AC"}},
            DetectionCase{"OverlongPasses", "a\xC0\x80\n", CTextFile::Encoding_Utf8, 0, {u"a\0"s}},
            DetectionCase{"FourByteLeadEndsScan", "\xC3\xA9\xF0\x9F\x98\x80", CTextFile::Encoding_CodePage, 0,
                          {u"\u00C3\u00A9\u00F0\u0178\u02DC\u20AC"}},
            DetectionCase{"FourByteAfterMarkIsFourQuestionMarks", "\xEF\xBB\xBF\xF0\x9F\x98\x80",
                          CTextFile::Encoding_Utf8, 3, {u"????"}},
            DetectionCase{"TrailByteSwallowsLf", "\xEF\xBB\xBF\xC3\nx\n", CTextFile::Encoding_Utf8, 3,
                          {u"\u00CAx"}},
            DetectionCase{"OverlongLfEndsLine", "\xEF\xBB\xBF" "a\xC0\x8A" "b", CTextFile::Encoding_Utf8, 3,
                          {u"a", u"b"}},
            DetectionCase{"Utf8KeepsNul", "\xEF\xBB\xBF" "a\0b"s, CTextFile::Encoding_Utf8, 3, {u"a\0b"s}}),
        ::testing::Values<size_t>(1, 2, CTextFile::kDefaultBlockSize)),
    [](const ::testing::TestParamInfo<std::tuple<DetectionCase, size_t>>& param) {
        return std::string(std::get<0>(param.param).name) + "_" + std::to_string(std::get<1>(param.param));
    });

TEST(TextFile, MarkOverridesTheDefaultAndOtherDefaultsSkipTheScan) {
    CTextFile utf16(CTextFile::Encoding_CodePage, 1251);
    ASSERT_OK(utf16.Open(Bytes("\xFF\xFEx\0"s)));
    EXPECT_EQ(CTextFile::Encoding_Utf16LE, utf16.GetEncoding());

    // Not inspected: the bytes that would make it a code page file are UTF-8
    // here, and the LF goes as the last byte of a three-byte character.
    CTextFile utf8(CTextFile::Encoding_Utf8, 1252);
    ASSERT_OK(utf8.Open(Bytes("\xE9\x41\n")));
    EXPECT_EQ(CTextFile::Encoding_Utf8, utf8.GetEncoding());
    EXPECT_EQ(0, utf8.GetTextStart());
    EXPECT_EQ((Lines{u"\u904A"}), ReadAll(utf8));
}

TEST(TextFile, ConvertsWithTheCodePageOfTheLanguage) {
    struct {
        UINT codePage;
        std::string bytes;
        std::u16string text;
    } const cases[] = {
        {1251, "\xCF\xF0\xE8\xE2\xE5\xF2", u"\u041F\u0440\u0438\u0432\u0435\u0442"},
        {932, "\x82\xA0\x82\xA2", u"\u3042\u3044"},
        // A code page the platform can't serve: the line comes out empty, without failure.
        {12345, "\xE9t\xE9", u""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.codePage);
        CTextFile file(CTextFile::Encoding_Auto, c.codePage);
        ASSERT_OK(file.Open(Bytes(c.bytes + "\r\nabc\n")));
        EXPECT_EQ(CTextFile::Encoding_CodePage, file.GetEncoding());
        Lines expected{c.text, c.codePage == 12345 ? u"" : u"abc"};
        EXPECT_EQ(expected, ReadAll(file));
    }
}

class TextFilePositions : public ::testing::TestWithParam<size_t> {};

TEST_P(TextFilePositions, CountFromTheFirstByteOfText) {
    CTextFile file(CTextFile::Encoding_Auto, 1252, GetParam());
    ASSERT_OK(file.Open(Bytes("\xEF\xBB\xBF" "ab\ncd\n")));
    LONGLONG length = -1, position = -1;
    ASSERT_OK(file.GetLength(length));
    ASSERT_OK(file.GetPosition(position));
    EXPECT_EQ(std::make_pair(length, position), std::make_pair(LONGLONG{6}, LONGLONG{0}));
    auto lineAfter = [&](LONGLONG offset, int origin) {
        std::u16string line = u"stale";
        EXPECT_OK(file.Seek(offset, origin));
        EXPECT_OK(file.ReadLine(line));
        return line;
    };
    EXPECT_EQ(u"ab", lineAfter(0, ZQ_SEEK_CUR));
    ASSERT_OK(file.GetPosition(position));
    EXPECT_EQ(3, position);
    EXPECT_EQ(u"", lineAfter(-1, ZQ_SEEK_CUR)) << "back one byte from the reader's position, not the stream's";
    EXPECT_EQ(u"ab", lineAfter(0, ZQ_SEEK_SET));
    EXPECT_EQ(u"cd", lineAfter(-3, ZQ_SEEK_END));
    ASSERT_OK(file.GetPosition(position));
    EXPECT_EQ(6, position);
    EXPECT_HR(E_FAIL, file.Seek(-4, ZQ_SEEK_SET));
}

INSTANTIATE_TEST_SUITE_P(Blocks, TextFilePositions, ::testing::Values<size_t>(1, 4, CTextFile::kDefaultBlockSize));

TEST(TextFile, ReadBytesTellsTheEndEvenWhenSomeBytesCame) {
    CTextFile file(CTextFile::Encoding_CodePage, 1252);
    ASSERT_OK(file.Open(Bytes("abc")));
    char bytes[4] = {};
    EXPECT_OK(file.ReadBytes(bytes, 2));
    EXPECT_EQ("ab", std::string(bytes, 2));
    EXPECT_HR(kHandleEof, file.ReadBytes(bytes, 2));
    EXPECT_HR(kHandleEof, file.ReadBytes(bytes, 1));
}

TEST(TextFile, OpenFailuresLeaveTheFileClosed) {
    std::u16string line;
    CTextFile file(CTextFile::Encoding_Auto, 1252);
    EXPECT_HR(E_UNEXPECTED, file.ReadLine(line));

    ScratchFile scratch("x\n");
    std::filesystem::path missing = scratch.Path().parent_path() / "no-such-file.srt";
    EXPECT_HR(HResult(0x80070002), file.Open(missing.u16string().c_str()));
    EXPECT_FALSE(file.IsOpen());

    std::filesystem::path folder = std::filesystem::temp_directory_path();
    EXPECT_HR(HResult(0x80070005), file.Open(folder.u16string().c_str()));
    EXPECT_FALSE(file.IsOpen());
    EXPECT_HR(E_POINTER, file.Open(nullptr));

    ASSERT_OK(file.Open(scratch.WidePath().c_str()));
    EXPECT_HR(E_UNEXPECTED, file.Open(scratch.WidePath().c_str()));
    EXPECT_OK(file.Close());
    EXPECT_OK(file.Close());
    EXPECT_HR(E_UNEXPECTED, file.ReadLine(line));
    EXPECT_HR(E_POINTER, file.Open(std::unique_ptr<CByteSource>()));
}

class TextFileReadFault : public ::testing::TestWithParam<size_t> {};

TEST_P(TextFileReadFault, ReadLineGivesTheFailureAfterTheGoodLines) {
    const HRESULT ioError = HRESULT_FROM_WIN32(ZQWin32ErrorFromErrno(EIO));
    const std::string texts[] = {"\xEF\xBB\xBF" "line1\nline2\nline3\n", Utf16(u"line1\nline2\nline3\n", false),
                                 "\xEF\xBB\xBF" "l\xC3\xA9ne1\nline2\nline3\n"};
    for (const std::string& text : texts) {
        CTextFile file(CTextFile::Encoding_Auto, 1252, GetParam());
        ASSERT_OK(file.Open(std::make_unique<TestByteSource>(text, text.size() - 4, ioError)));
        std::u16string line;
        ASSERT_OK(file.ReadLine(line));
        ASSERT_OK(file.ReadLine(line));
        EXPECT_EQ(u"line2", line);
        EXPECT_HR(ioError, file.ReadLine(line));
    }
}

TEST_P(TextFileReadFault, OpenFailsWithTheStatusOfTheMarkOrScanRead) {
    const HRESULT ioError = HRESULT_FROM_WIN32(ZQWin32ErrorFromErrno(EIO));
    for (size_t offset : {0, 1, 20}) {
        SCOPED_TRACE(offset);
        CTextFile file(CTextFile::Encoding_Auto, 1252, GetParam());
        EXPECT_HR(ioError, file.Open(std::make_unique<TestByteSource>("plain text that needs a scan\n", offset, ioError)));
        EXPECT_FALSE(file.IsOpen());
    }
}

INSTANTIATE_TEST_SUITE_P(Blocks, TextFileReadFault, ::testing::Values<size_t>(1, 3, CTextFile::kDefaultBlockSize));

}  // namespace
