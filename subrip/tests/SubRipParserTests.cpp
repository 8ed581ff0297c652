// The SubRip parser: what makes a cue, where its text ends, and that a file
// is taken whole or not at all.
#include "subrip/SubRipParser.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "subrip/tests/CueRecorder.h"
#include "subrip/tests/TestByteSource.h"
#include "tests/support/HResultAssertions.h"

namespace {

using namespace zqsubriptest;
using namespace std::string_literals;
using Cues = std::vector<RecordedCue>;

constexpr REFERENCE_TIME kSecond = 10000000;

RecordedCue Cue(REFERENCE_TIME start, REFERENCE_TIME stop, std::string text) {
    return {start, stop, std::move(text)};
}

struct ParseCase {
    const char* name;
    std::string file;  // LF line ends; the suite runs it with CR LF too
    HRESULT status;
    Cues cues;
};

class SubRipParse : public ::testing::TestWithParam<std::tuple<ParseCase, bool>> {};

TEST_P(SubRipParse, GivesTheCuesOfTheFile) {
    const auto& [c, crlf] = GetParam();
    std::string bytes = c.file;
    if (crlf) {
        bytes.clear();
        for (char ch : c.file)
            bytes += ch == '\n' ? "\r\n"s : std::string(1, ch);
    }
    ParseResult result = ParseBytes(bytes);
    EXPECT_HR(c.status, result.status);
    EXPECT_EQ(c.cues, result.cues);
}

const char kTime1[] = "00:00:01,000 --> 00:00:02,000\n";
const char kTime2[] = "00:00:03,000 --> 00:00:04,000\n";

INSTANTIATE_TEST_SUITE_P(
    Files, SubRipParse,
    ::testing::Combine(
        ::testing::Values(
            ParseCase{"TwoCues",
                      "1\n00:00:01,000 --> 00:00:04,000\nHello\nworld\n\n2\n00:00:05,500 --> 00:00:07,250\nBye", S_OK,
                      {Cue(kSecond, 4 * kSecond, "Hello\nworld\n\n"), Cue(55000000, 72500000, "Bye\n")}},
            ParseCase{"HoursMinutesSecondsMilliseconds", "1\n01:02:03,004 --> 00:00:00,005\nA\n", S_OK,
                      {Cue(37230040000, 50000, "A\n")}},
            ParseCase{"TimeLineInsideTextIsText",
                      "00:00:01,000 --> 00:00:02,000\nA\n\n00:00:03,000 --> 00:00:04,000\nB\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "A\n\n00:00:03,000 --> 00:00:04,000\nB\n")}},
            ParseCase{"CounterNeedsABlankLineFirst", "1\n"s + kTime1 + "100\n2\n" + kTime2 + "x\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "100\n2\n00:00:03,000 --> 00:00:04,000\nx\n")}},
            ParseCase{"NumberBehindBlankEndsTheCueAndStrayTextFails", "1\n"s + kTime1 + "First\n\n42\nMore text\n",
                      VFW_E_INVALID_FILE_FORMAT, {}},
            ParseCase{"NumberWithWordIsText", "1\n"s + kTime1 + "A\n\n2 fast\n\n3\n" + kTime2 + "B\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "A\n\n2 fast\n\n"), Cue(3 * kSecond, 4 * kSecond, "B\n")}},
            ParseCase{"TimeLineLastGivesEmptyText", "1\n00:00:01,000 --> 00:00:02,000", S_OK,
                      {Cue(kSecond, 2 * kSecond, "")}},
            ParseCase{"BlankThenCounterGivesOneLf", "1\n"s + kTime1 + "\n2\n" + kTime2 + "X\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "\n"), Cue(3 * kSecond, 4 * kSecond, "X\n")}},
            ParseCase{"TrimsTextAndCountsSpaceLinesAsBlank",
                      "1\n"s + kTime1 + "\t Hello \xC2\xA0\n  \t\n2\n" + kTime2 + "  B", S_OK,
                      {Cue(kSecond, 2 * kSecond, "Hello\n\n"), Cue(3 * kSecond, 4 * kSecond, "B\n")}},
            ParseCase{"PassesBlanksAndNumbersBeforeFirstCueKeepsTrailingBlanks",
                      "\n\n7\n-8\n  \n1\n"s + kTime1 + "A\n\n\n", S_OK, {Cue(kSecond, 2 * kSecond, "A\n\n\n")}},
            ParseCase{"OnlyBlanksAndNumbers", "\n1\n\n2\n", VFW_E_INVALID_FILE_FORMAT, {}},
            ParseCase{"EmptyFile", "", VFW_E_INVALID_FILE_FORMAT, {}},
            ParseCase{"TextBeforeFirstCue", "hello\n1\n"s + kTime1 + "A\n", VFW_E_INVALID_FILE_FORMAT, {}},
            ParseCase{"PartialTimeLine", "1\n00:00:01 --> 00:00:02\nA\n", VFW_E_INVALID_FILE_FORMAT, {}},
            ParseCase{"LaterBadLineLosesEarlierCues",
                      "1\n"s + kTime1 + "A\n\n2\n" + kTime2 + "B\n\n3\n00:00:05,000 -> 00:00:06,000\nC\n",
                      VFW_E_INVALID_FILE_FORMAT, {}},
            ParseCase{"TextBehindStopTimeIsIgnored", "1\n00:00:01,000 --> 00:00:02,000 X1:40 X2:600\nA\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "A\n")}},
            ParseCase{"StopBeforeStartAndNegativeHoursPass",
                      "1\n00:00:02,000 --> 00:00:01,000\nA\n\n2\n-1:00:00,000 --> 00:00:01,000\nB\n", S_OK,
                      {Cue(2 * kSecond, kSecond, "A\n\n"), Cue(-36000000000, kSecond, "B\n")}},
            ParseCase{"MillisecondsCountAsWritten", "1\n00:00:01,5 --> 00:01:75,12345\nA\n", S_OK,
                      {Cue(kSecond + 50000, 600000000 + 75 * kSecond + 123450000, "A\n")}},
            ParseCase{"HugeHoursWrapInsteadOfOverflowing", "1\n2147483647:00:00,000 --> -2147483648:00:00,000\nA\n",
                      S_OK,
                      {Cue(static_cast<REFERENCE_TIME>(uint64_t{2147483647} * 36000000000u),
                           static_cast<REFERENCE_TIME>(uint64_t{0} - uint64_t{2147483648} * 36000000000u), "A\n")}},
            // Regression: a U+0000 ends the cue's text where it stands; the cut
            // line's LF and the later lines of the cue went into the text.
            ParseCase{"NulEndsTheCueTextWithinItsLine",
                      "\xEF\xBB\xBF" "1\n"s + kTime1 + "ab\0cd\n\0\n2\n"s + kTime2 + "x\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "ab"), Cue(3 * kSecond, 4 * kSecond, "x\n")}},
            ParseCase{"LineOfOnlyNulIsBlankAndEndsTheText",
                      "\xEF\xBB\xBF" "1\n"s + kTime1 + "Bye\n\0\n2\n"s + kTime2 + "x\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "Bye\n"), Cue(3 * kSecond, 4 * kSecond, "x\n")}},
            ParseCase{"NulInsideAWordCutsTheWholeCue",
                      "\xEF\xBB\xBF" "1\n"s + kTime1 +
                          "Gl\xC4\x81\xC5\xBE\xC5\xA1\xC4\xB7\xC5\xAB\xC5\x86" "a\0rest\n"
                          "Gl\xC4\x81\xC5\xBE\xC5\xA1\xC4\xB7\xC5\xAB\xC5\x86" "a r\xC5\xAB\xC4\xB7\xC4\xAB\xC5\xA1i.\n"s,
                      S_OK, {Cue(kSecond, 2 * kSecond, "Gl\xC4\x81\xC5\xBE\xC5\xA1\xC4\xB7\xC5\xAB\xC5\x86" "a")}},
            // Without a byte-order mark the overlong C0 80 decodes to U+0000 too.
            ParseCase{"OverlongNulInUtf8EndsTheText", "1\n"s + kTime1 + "Bye \xC3\xA9\n\xC0\x80\n2\n" + kTime2 + "x\n",
                      S_OK, {Cue(kSecond, 2 * kSecond, "Bye \xC3\xA9\n"), Cue(3 * kSecond, 4 * kSecond, "x\n")}},
            ParseCase{"SpaceThenNulLineIsBlank", "\xEF\xBB\xBF" "1\n"s + kTime1 + "A\n\n \0junk\n2\n"s + kTime2 + "B\n",
                      S_OK, {Cue(kSecond, 2 * kSecond, "A\n\n"), Cue(3 * kSecond, 4 * kSecond, "B\n")}},
            ParseCase{"AccentedTextInUtf8", "\xEF\xBB\xBF" "1\n"s + kTime1 + "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC\n")}},
            ParseCase{"AccentedTextInCodePage", "1\n"s + kTime1 + "\xE9t\xE9 \x80\n", S_OK,
                      {Cue(kSecond, 2 * kSecond, "\xC3\xA9t\xC3\xA9 \xE2\x82\xAC\n")}}),
        ::testing::Bool()),
    [](const ::testing::TestParamInfo<std::tuple<ParseCase, bool>>& param) {
        return std::string(std::get<0>(param.param).name) + (std::get<1>(param.param) ? "_CrLf" : "_Lf");
    });

TEST(SubRipParser, FileOfCrOnlyIsOneTimeLine) {
    ParseResult result = ParseBytes("1\r00:00:01,000 --> 00:00:02,000\rHi\r");
    EXPECT_OK(result.status);
    EXPECT_EQ((Cues{Cue(3600010000000, 2 * kSecond, "")}), result.cues);
}

TEST(SubRipParser, RewindsBeforeReading) {
    CTextFile file(CTextFile::Encoding_Auto, 1252);
    ASSERT_OK(file.Open(Bytes("\xEF\xBB\xBF" "1\n"s + kTime1 + "A\n")));
    std::u16string line;
    ASSERT_OK(file.ReadLine(line));
    ASSERT_OK(file.ReadLine(line));
    CueRecorder recorder;
    EXPECT_OK(ZQParseSubRip(file, recorder));
    EXPECT_EQ((Cues{Cue(kSecond, 2 * kSecond, "A\n")}), recorder.Cues());
}

TEST(SubRipParser, FailedRewindLeavesTheListAlone) {
    CueRecorder recorder;
    recorder.AddCue(u"kept", 4, 0, 1);
    CTextFile closed(CTextFile::Encoding_Auto, 1252);
    EXPECT_HR(E_FAIL, ZQParseSubRip(closed, recorder));
    EXPECT_EQ(1u, recorder.Cues().size());
    EXPECT_EQ(0, recorder.Clears());
}

TEST(SubRipParser, ReadFailureClearsTheList) {
    const std::string text = "1\n"s + kTime1 + "A\n\n2\n" + kTime2 + "B\nmore\nand more\n";
    for (size_t offset : {text.size() - 12, text.size() - 30}) {
        SCOPED_TRACE(offset);
        CTextFile file(CTextFile::Encoding_Ascii, 1252);
        ASSERT_OK(file.Open(std::make_unique<TestByteSource>(text, offset, HRESULT_FROM_WIN32(ERROR_READ_FAULT))));
        CueRecorder recorder;
        EXPECT_HR(HRESULT_FROM_WIN32(ERROR_READ_FAULT), ZQParseSubRip(file, recorder));
        EXPECT_TRUE(recorder.Cues().empty());
        EXPECT_EQ(1, recorder.Clears());
    }
}

}  // namespace
