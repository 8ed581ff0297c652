// Real SubRip files from other projects' test folders, read in place. Each
// file's result was worked out by reading the file against the reader's and
// the parser's rules; a refused file carries the reason.
#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string>

#include "subrip/tests/CueRecorder.h"
#include "subtitle/LanguageTable.h"
#include "tests/support/HResultAssertions.h"

namespace {

using namespace zqsubriptest;

constexpr auto Ascii = CTextFile::Encoding_Ascii;
constexpr auto CodePage = CTextFile::Encoding_CodePage;
constexpr auto Utf8 = CTextFile::Encoding_Utf8;
constexpr auto Utf16LE = CTextFile::Encoding_Utf16LE;
constexpr auto Utf16BE = CTextFile::Encoding_Utf16BE;
constexpr HRESULT Refused = VFW_E_INVALID_FILE_FORMAT;

struct CorpusFile {
    const char* name;
    const char16_t* language;  // as a user would pick it for the file
    HRESULT status;
    CTextFile::Encoding encoding;
    size_t cues;
    const char* firstText;  // start of the first cue's UTF-8 text, when checked
    const char* reason;     // why a refused file is refused
};

// Files without a mark whose first byte above 7F doesn't begin valid UTF-8
// read as code page files; a lone number written as cue text right behind a
// time line (cp1251-russian-01, the Korean files, long-english) is text,
// since no blank line came before it.
const CorpusFile kCorpus[] = {
    {"big5-chinese-01.srt", u"zh", S_OK, CodePage, 1655, nullptr, nullptr},
    {"big5-chinese-02.srt", u"zh", S_OK, CodePage, 50, nullptr, nullptr},
    {"cp1250-czech-01.srt", u"cs", S_OK, CodePage, 50, "<i>MovieZone.cz</i>\n", nullptr},
    {"cp1250-hungarian-01.srt", u"hu", S_OK, CodePage, 233, nullptr, nullptr},
    {"cp1250-serbocroatian-01.srt", u"hr", S_OK, CodePage, 1132, nullptr, nullptr},
    {"cp1250-slovenian-01.srt", u"sl", S_OK, CodePage, 1202, nullptr, nullptr},
    {"cp1251-russian-01.srt", u"ru", S_OK, CodePage, 733, nullptr, nullptr},
    {"cp1251-russian-02.srt", u"ru", S_OK, CodePage, 45, "Ни фига себе.\n", nullptr},
    // Serbian in Cyrillic letters: the table gives "sr" the Latin code page
    // 1250, so Macedonian, of code page 1251, stands in to get its letters.
    {"cp1251-serbian-01.srt", u"mk", S_OK, CodePage, 595, nullptr, nullptr},
    {"cp1252-english-01.srt", u"en", S_OK, CodePage, 1333, nullptr, nullptr},
    {"cp1252-french-01.srt", u"fr", S_OK, CodePage, 1332, nullptr, nullptr},
    {"cp1252-spanish-01.srt", u"es", S_OK, CodePage, 1092, nullptr, nullptr},
    {"cp1252-spanish-02.srt", u"es", S_OK, CodePage, 1191, nullptr, nullptr},
    {"cp1253-greek-01.srt", u"el", S_OK, CodePage, 9, "[Greek] 0.5: Άά Αα", nullptr},
    {"cp1254-turkish-01.srt", u"tr", S_OK, CodePage, 1799, nullptr, nullptr},
    {"cp1254-turkish-malformed-01.srt", u"tr", Refused, CodePage, 0, nullptr,
     "the first time line has no milliseconds: the scan stops at 6 fields"},
    {"cp1255-hebrew-01.srt", u"he", S_OK, CodePage, 22, nullptr, nullptr},
    {"cp1256-arabic-01.srt", u"ar", S_OK, CodePage, 474, nullptr, nullptr},
    {"cp1256-persian-01.srt", u"fa", S_OK, CodePage, 1271, nullptr, nullptr},
    {"cp1257-baltic-01.srt", u"lt", S_OK, CodePage, 9, nullptr, nullptr},
    {"cp1258-vietnamese-01.srt", u"vi", S_OK, CodePage, 9, nullptr, nullptr},
    {"cp874-thai-01.srt", u"th", S_OK, CodePage, 9, nullptr, nullptr},
    {"cp949-korean-01.srt", u"ko", S_OK, CodePage, 737, nullptr, nullptr},
    {"cp949-korean-02.srt", u"ko", S_OK, CodePage, 847, "제시 댐로쉬는 1987년생으로\n", nullptr},
    {"empty-0-bytes-01.srt", u"en", Refused, Ascii, 0, nullptr, "no line at all, so no cue"},
    {"gb18030-chinese-01.srt", u"zh", S_OK, CodePage, 45, nullptr, nullptr},
    {"gbk-chinese-01.srt", u"zh", S_OK, CodePage, 592, "十二个型号的赛昂人\n", nullptr},
    {"gbk-chinese-traditional-ambiguous-01.srt", u"zh", S_OK, CodePage, 3, nullptr, nullptr},
    {"ibm866-russian-01.srt", u"ru", S_OK, CodePage, 45, nullptr, nullptr},
    {"iso8859-2-romanian-01.srt", u"ro", S_OK, CodePage, 387, nullptr, nullptr},
    {"iso8859-8-hebrew-01.srt", u"he", S_OK, CodePage, 110, nullptr, nullptr},
    {"iso8859-9-turkish-01.srt", u"tr", S_OK, CodePage, 22, nullptr, nullptr},
    {"koi8r-russian-01.srt", u"ru", S_OK, CodePage, 45, nullptr, nullptr},
    {"long-english-01.srt", u"en", S_OK, Ascii, 2506, nullptr, nullptr},
    {"malformed-bad-timestamps-english-01.srt", u"en", S_OK, Ascii, 3, nullptr, nullptr},
    {"malformed-lone-number-01.srt", u"en", Refused, Ascii, 0, nullptr, "a lone number and no time line"},
    {"malformed-missing-timecode-english-01.srt", u"en", Refused, Ascii, 0, nullptr,
     "cue 2 has text where its time line should stand, between cues"},
    {"malformed-mixed-separator-english-01.srt", u"en", S_OK, Ascii, 5, nullptr, nullptr},
    {"malformed-negative-timestamps-english-01.srt", u"en", S_OK, Ascii, 3, nullptr, nullptr},
    {"malformed-no-hours-no-ms-english-01.srt", u"en", Refused, Ascii, 0, nullptr,
     "the first time line has no hours: the scan stops at 6 fields"},
    // The five lines behind the first time line, time lines among them, are
    // its text: no lone number ever follows a blank line.
    {"malformed-stacked-time-lines-english-01.srt", u"en", S_OK, Utf8, 1, "00:00:05,933 --> 00:00:07,166\n",
     nullptr},
    {"not-srt-http-403-page-01.srt", u"en", Refused, Ascii, 0, nullptr, "the first line is an HTTP status line"},
    {"not-srt-microdvd-named-srt-english-01.srt", u"en", Refused, Utf8, 0, nullptr,
     "MicroDVD lines (\"[0][6]...\") are no time lines"},
    {"quirk-ass-an-tags-english-01.srt", u"en", S_OK, Ascii, 9, nullptr, nullptr},
    {"quirk-ass-overrides-3digit-seconds-english-01.srt", u"en", S_OK, Ascii, 14, nullptr, nullptr},
    {"quirk-bad-order-trailing-text-chinese-01.srt", u"zh", S_OK, Utf8, 3, nullptr, nullptr},
    {"quirk-blank-lines-in-text-chinese-01.srt", u"zh", S_OK, Utf8, 3, "我有个点子\n\nOK, look, I think I have a plan here.\n\n",
     nullptr},
    {"quirk-coordinates-english-01.srt", u"en", S_OK, Ascii, 311, nullptr, nullptr},
    {"quirk-coordinates-english-long-01.srt", u"en", S_OK, Ascii, 1480, nullptr, nullptr},
    // CR alone ends no line: the whole file is one time line with 100 hours.
    {"quirk-cr-line-ends-english-01.srt", u"en", S_OK, Utf8, 1, "", nullptr},
    {"quirk-dot-milliseconds-english-01.srt", u"en", S_OK, Utf8, 3, nullptr, nullptr},
    {"quirk-empty-and-duplicate-cues-english-01.srt", u"en", S_OK, Utf8, 5, "\n", nullptr},
    {"quirk-html-tags-english-01.srt", u"en", S_OK, Ascii, 10, nullptr, nullptr},
    {"quirk-missing-numbers-mixed-times-english-01.srt", u"en", Refused, Ascii, 0, nullptr,
     "the first time line has no milliseconds: the scan stops at 6 fields"},
    {"quirk-negative-times-coordinates-english-01.srt", u"en", S_OK, Ascii, 10, nullptr, nullptr},
    // Without counters no time line ends the first cue: all the rest is its text.
    {"quirk-no-indexes-english-01.srt", u"en", S_OK, Utf8, 1, "About 2 months ago I found myself on\n", nullptr},
    {"quirk-no-milliseconds-english-01.srt", u"en", Refused, Ascii, 0, nullptr,
     "\"0:00:00 --> 0:00:05\" has no milliseconds: the scan stops at 6 fields"},
    {"quirk-spaced-colons-single-arrow-spanish-01.srt", u"es", Refused, Utf8, 0, nullptr,
     "the arrow is \"->\": the scan stops at 7 fields"},
    {"shiftjis-japanese-ass-not-srt-01.ass", u"ja", Refused, CodePage, 0, nullptr,
     "an ASS script: \"[Script Info]\" is no time line"},
    {"truncated-after-number-english-01.srt", u"en", S_OK, Ascii, 2, nullptr, nullptr},
    {"truncated-mid-cue-english-01.srt", u"en", S_OK, Utf8, 5, nullptr, nullptr},
    {"utf16be-bom-english-01.srt", u"en", S_OK, Utf16BE, 7, nullptr, nullptr},
    {"utf16be-bom-korean-01.srt", u"ko", S_OK, Utf16BE, 737, nullptr, nullptr},
    {"utf16be-bom-russian-01.srt", u"ru", S_OK, Utf16BE, 45, "Ни фига себе.\n", nullptr},
    {"utf16le-bom-english-01.srt", u"en", S_OK, Utf16LE, 7, nullptr, nullptr},
    {"utf16le-bom-russian-01.srt", u"ru", S_OK, Utf16LE, 45, "Ни фига себе.\n", nullptr},
    {"utf32be-bom-english-01.srt", u"en", Refused, CodePage, 0, nullptr,
     "00 00 FE FF is no mark; its NULs make it a code page file whose lines all convert empty"},
    {"utf32le-bom-english-01.srt", u"en", Refused, Utf16LE, 0, nullptr,
     "FF FE reads as UTF-16 LE; every line then starts with U+0000 and trims to blank"},
    {"utf8-arabic-rtl-marks-01.srt", u"ar", S_OK, Utf8, 1647, nullptr, nullptr},
    {"utf8-chinese-english-01.srt", u"zh", S_OK, Utf8, 3, nullptr, nullptr},
    {"utf8-english-replacement-char-01.srt", u"en", S_OK, Utf8, 1333, nullptr, nullptr},
    {"utf8-french-01.srt", u"fr", S_OK, Utf8, 1332, nullptr, nullptr},
    {"utf8-korean-01.srt", u"ko", S_OK, Utf8, 737, nullptr, nullptr},
    {"utf8-russian-01.srt", u"ru", S_OK, Utf8, 715, nullptr, nullptr},
    {"utf8bom-capability-tester-01.srt", u"en", S_OK, Utf8, 37, nullptr, nullptr},
    {"utf8bom-danish-01.srt", u"da", S_OK, Utf8, 301, nullptr, nullptr},
    {"utf8bom-french-machine-translated-01.srt", u"fr", Refused, Utf8, 0, nullptr,
     "cue 91's time line has \"- >\" for its arrow, a bad line between cues; the 90 cues before it go too"},
    {"utf8bom-romanian-01.srt", u"ro", S_OK, Utf8, 545, nullptr, nullptr},
    {"utf8bom-russian-01.srt", u"ru", S_OK, Utf8, 183, nullptr, nullptr},
};

// The corpus folder, or empty when the shared folder isn't there.
std::filesystem::path CorpusFolder() {
    const char* shared = std::getenv("ZQ_SHARED_DIR");
    std::filesystem::path folder = shared != nullptr ? std::filesystem::path(shared) / "corpus" / "srt" : "";
    return !folder.empty() && std::filesystem::is_directory(folder) ? folder : std::filesystem::path();
}

class SubRipCorpus : public ::testing::TestWithParam<CorpusFile> {};

TEST_P(SubRipCorpus, ReadsAsWorkedOut) {
    const CorpusFile& c = GetParam();
    const std::filesystem::path folder = CorpusFolder();
    if (folder.empty())
        GTEST_SKIP() << "no corpus: ZQ_SHARED_DIR/corpus/srt is not there";
    SCOPED_TRACE(c.reason != nullptr ? c.reason : "a good file");
    ParseResult result = ParseFile((folder / c.name).u16string(), GetLanguageCodePage(c.language));
    EXPECT_HR(c.status, result.status);
    EXPECT_EQ(c.encoding, result.encoding);
    EXPECT_EQ(c.cues, result.cues.size());
    if (c.firstText != nullptr && !result.cues.empty()) {
        EXPECT_TRUE(result.cues.front().text.starts_with(c.firstText)) << result.cues.front().text.substr(0, 80);
    }
    EXPECT_EQ(c.status == S_OK, c.reason == nullptr) << "a refused file needs its reason";
}

INSTANTIATE_TEST_SUITE_P(Files, SubRipCorpus, ::testing::ValuesIn(kCorpus),
                         [](const ::testing::TestParamInfo<CorpusFile>& param) {
                             std::string name = param.param.name;
                             std::replace_if(name.begin(), name.end(), [](char ch) { return !std::isalnum(static_cast<unsigned char>(ch)); }, '_');
                             return name;
                         });

TEST(SubRipCorpusTable, NamesEveryFileOfTheCorpus) {
    const std::filesystem::path folder = CorpusFolder();
    if (folder.empty())
        GTEST_SKIP() << "no corpus: ZQ_SHARED_DIR/corpus/srt is not there";
    std::set<std::string> listed;
    for (const CorpusFile& c : kCorpus)
        listed.insert(c.name);
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        const std::string name = entry.path().filename().string();
        EXPECT_TRUE(listed.count(name) || name == "MANIFEST.tsv" || name == "README.md") << name << " has no expectation";
    }
}

}  // namespace
