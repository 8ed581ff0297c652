// The trim, and the formatted scan against the standard wide scan on the parser's two formats.
#include "subrip/SubRipScan.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>
#include <vector>

namespace {

using namespace std::string_literals;

using ScanFunction = int (*)(std::u16string_view, int32_t*);
constexpr ScanFunction kCounter = &ZQScanFields<"%d%c">;
constexpr ScanFunction kTime = &ZQScanFields<"%d%c%d%c%d%c%d --> %d%c%d%c%d%c%d\n">;

struct ScanCase {
    const char* name;
    std::u16string input;
    ScanFunction scan;
    int converted;
    std::vector<int32_t> fields;  // the first few fields, when they matter
};

class Scan : public ::testing::TestWithParam<ScanCase> {};

TEST_P(Scan, ConvertsTheFieldsOfTheStandardScan) {
    const ScanCase& c = GetParam();
    int32_t fields[14] = {};
    EXPECT_EQ(c.converted, c.scan(c.input, fields));
    for (size_t i = 0; i < c.fields.size(); ++i)
        EXPECT_EQ(c.fields[i], fields[i]) << "field " << i + 1;
}

INSTANTIATE_TEST_SUITE_P(
    Formats, Scan,
    ::testing::Values(
        ScanCase{"LoneNumber", u"1", kCounter, 1, {1}},
        ScanCase{"NegativeNumber", u"-12", kCounter, 1, {-12}},
        ScanCase{"PlusSign", u"+7", kCounter, 1, {7}},
        ScanCase{"NumberAndWord", u"2 fast", kCounter, 2, {2, u' '}},
        ScanCase{"Letter", u"a", kCounter, 0, {}},
        ScanCase{"SignAlone", u"-", kCounter, 0, {}},
        ScanCase{"Empty", u"", kCounter, -1, {}},
        ScanCase{"OnlySpace", u" \t\u3000", kCounter, -1, {}},
        ScanCase{"WrapsModulo32Bits", u"4294967297", kCounter, 1, {1}},
        ScanCase{"SmallestInt", u"-2147483648", kCounter, 1, {INT_MIN}},
        ScanCase{"NumberSkipsWideSpace", u"\u00A0\u20055", kCounter, 1, {5}},
        ScanCase{"FullWidthDigitIsNoDigit", u"\uFF15", kCounter, 0, {}},
        ScanCase{"TimeLine", u"01:02:03,004 --> 05:06:07,008", kTime, 14,
                 {1, u':', 2, u':', 3, u',', 4, 5, u':', 6, u':', 7, u',', 8}},
        ScanCase{"NoSpaceAroundArrow", u"00:00:01.000-->00:00:04.5", kTime, 14, {0, u':', 0, u':', 1, u'.', 0, 0}},
        ScanCase{"SpacesAsSeparators", u"00 00 01 000 --> 00 00 04 000", kTime, 14, {0, u' ', 0, u' ', 1}},
        ScanCase{"TextBehindStop", u"00:00:01,000 --> 00:00:02,000 X1:40 X2:600", kTime, 14, {}},
        ScanCase{"WideSpaceAroundArrow", u"\t00:00:01,000\u00A0-->\u3000 00:00:02,000", kTime, 14, {}},
        ScanCase{"SpaceBeforeNumbers", u"0: 0: 1, 2 --> 0: 0: 3, 4", kTime, 14, {0, u':', 0, u':', 1, u',', 2}},
        ScanCase{"NegativeHours", u"-1:00:00,000 --> 00:00:01,000", kTime, 14, {-1}},
        // The %c behind the seconds takes the blank; the %d then meets "--".
        ScanCase{"NoMilliseconds", u"00:00:01 --> 00:00:02", kTime, 6, {0, u':', 0, u':', 1, u' '}},
        ScanCase{"SingleDashArrow", u"00:00:01,000 -> 00:00:02,000", kTime, 7, {}},
        ScanCase{"EndsAfterArrow", u"00:00:01,000 --> ", kTime, 7, {}},
        ScanCase{"StopWithoutLastSeparator", u"00:00:01,000 --> 00:00:02", kTime, 12, {}},
        ScanCase{"LoneNumberWithTimeFormat", u"42", kTime, 1, {42}},
        ScanCase{"NoHours", u"00:00,000 --> 00:00:02,000", kTime, 6, {}},
        ScanCase{"NulEndsNothingItself", u"1\0"s, kCounter, 2, {1, 0}}),
    [](const ::testing::TestParamInfo<ScanCase>& param) { return std::string(param.param.name); });

TEST(TrimLine, RemovesTheWhitespaceClassAtBothEndsAndStopsAtNul) {
    EXPECT_EQ(u"a b", ZQTrimLine(u" \t\u00A0a b\u3000\u2028\r"));
    EXPECT_EQ(u"", ZQTrimLine(u" \u0085\u205F "));
    EXPECT_EQ(u"\u200Bx\u200B", ZQTrimLine(u"\u200Bx\u200B"));  // zero width space is no space
    EXPECT_EQ(u"ab", ZQTrimLine(u" ab \0 cd"s));
    EXPECT_EQ(u"", ZQTrimLine(u"\0abc"s));
}

}  // namespace
