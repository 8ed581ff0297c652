#include "subtitle/LanguageTable.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>

namespace {

constexpr int32_t kEnglish = 123;
constexpr int32_t kFrench = 139;
constexpr int32_t kChinese = 82;
constexpr int32_t kPortuguese = 351;
constexpr int32_t kReservedForLocalUse = 359;

std::string Narrow(std::u16string_view text) {
    std::string out;
    for (char16_t c : text)
        out += c < 0x80 ? static_cast<char>(c) : '?';
    return out;
}

int32_t RowByName(std::u16string_view name) {
    for (int32_t row = 0; row < kLanguageRowCount; ++row) {
        if (name == LanguageTable[row].EnglishName)
            return row;
    }
    return kNoLanguageRow;
}

std::u16string FoldAscii(std::u16string_view text) {
    std::u16string out(text);
    for (char16_t& c : out)
        c = c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
    return out;
}

TEST(LanguageTableTest, HasTheRowsInCaseInsensitiveNameOrder) {
    int twoLetterCodes = 0;
    for (int32_t row = 0; row < kLanguageRowCount; ++row) {
        SCOPED_TRACE(row);
        const LanguageRow& r = LanguageTable[row];
        ASSERT_NE(r.EnglishName, nullptr);
        ASSERT_NE(r.TerminologicCode, nullptr);
        ASSERT_NE(r.BibliographicCode, nullptr);
        ASSERT_NE(r.TwoLetterCode, nullptr);
        EXPECT_EQ(std::u16string_view(r.TerminologicCode).size(), 3u);
        EXPECT_EQ(std::u16string_view(r.BibliographicCode).size(), 3u);
        const size_t twoLetterLength = std::u16string_view(r.TwoLetterCode).size();
        EXPECT_TRUE(twoLetterLength == 0 || twoLetterLength == 2);
        twoLetterCodes += twoLetterLength == 2 ? 1 : 0;
        if (row > 0) {
            EXPECT_LT(FoldAscii(LanguageTable[row - 1].EnglishName), FoldAscii(r.EnglishName));
        }
    }
    EXPECT_EQ(twoLetterCodes, 183);
    EXPECT_EQ(RowByName(u"English"), kEnglish);
    EXPECT_EQ(RowByName(u"French"), kFrench);
    EXPECT_EQ(RowByName(u"Reserved for local use"), kReservedForLocalUse);
    EXPECT_EQ(RowByName(u"Bokm\u00E5l, Norwegian"), 59);
}

TEST(LanguageTableTest, DiffersInTheThreeLetterCodesOnlyForTheTwentyKnownPairs) {
    struct Pair {
        const char16_t* name;
        const char16_t* terminologic;
        const char16_t* bibliographic;
    };
    const Pair pairs[] = {
        {u"Albanian", u"sqi", u"alb"},  {u"Armenian", u"hye", u"arm"},      {u"Basque", u"eus", u"baq"},
        {u"Burmese", u"mya", u"bur"},   {u"Chinese", u"zho", u"chi"},       {u"Czech", u"ces", u"cze"},
        {u"Dutch", u"nld", u"dut"},     {u"French", u"fra", u"fre"},        {u"Georgian", u"kat", u"geo"},
        {u"German", u"deu", u"ger"},    {u"Greek, Modern", u"ell", u"gre"}, {u"Icelandic", u"isl", u"ice"},
        {u"Macedonian", u"mkd", u"mac"}, {u"Malay", u"msa", u"may"},        {u"Maori", u"mri", u"mao"},
        {u"Persian", u"fas", u"per"},   {u"Romanian", u"ron", u"rum"},      {u"Slovak", u"slk", u"slo"},
        {u"Tibetan", u"bod", u"tib"},   {u"Welsh", u"cym", u"wel"},
    };
    std::set<int32_t> expected;
    for (const Pair& pair : pairs) {
        const int32_t row = RowByName(pair.name);
        ASSERT_NE(row, kNoLanguageRow) << Narrow(pair.name);
        EXPECT_EQ(std::u16string_view(LanguageTable[row].TerminologicCode), pair.terminologic);
        EXPECT_EQ(std::u16string_view(LanguageTable[row].BibliographicCode), pair.bibliographic);
        expected.insert(row);
    }
    std::set<int32_t> actual;
    for (int32_t row = 0; row < kLanguageRowCount; ++row) {
        if (std::u16string_view(LanguageTable[row].TerminologicCode) != LanguageTable[row].BibliographicCode)
            actual.insert(row);
    }
    EXPECT_EQ(actual, expected);
}

struct HashTableCase {
    const char* name;
    const LanguageHashTable* table;
    const WCHAR* LanguageRow::*column;
    uint32_t bucketCount;
    uint32_t keyCount;
};

class LanguageHashTableTest : public ::testing::TestWithParam<HashTableCase> {};

TEST_P(LanguageHashTableTest, HoldsEveryKeyOnceWithAtMostOneEntryPerBucket) {
    const HashTableCase& c = GetParam();
    ASSERT_EQ(c.table->bucketCount, c.bucketCount);
    uint32_t entries = 0;
    for (uint32_t b = 0; b < c.table->bucketCount; ++b) {
        const LanguageHashBucket& bucket = c.table->buckets[b];
        ASSERT_LE(bucket.entryCount, 1u) << "bucket " << b;
        EXPECT_EQ(bucket.entries == nullptr, bucket.entryCount == 0) << "bucket " << b;
        for (uint32_t i = 0; i < bucket.entryCount; ++i) {
            const LanguageHashEntry& entry = bucket.entries[i];
            EXPECT_EQ(HashLanguageKey(entry.key) % c.bucketCount, b);
            // The key is the table's own string, not a copy of it.
            EXPECT_EQ(entry.key, LanguageTable[entry.row].*c.column);
        }
        entries += bucket.entryCount;
    }
    EXPECT_EQ(entries, c.keyCount);
}

TEST_P(LanguageHashTableTest, FindsEveryRowByItsKey) {
    const HashTableCase& c = GetParam();
    for (int32_t row = 0; row < kLanguageRowCount; ++row) {
        const WCHAR* key = LanguageTable[row].*c.column;
        if (key[0] == 0)
            continue;
        EXPECT_EQ(LookupLanguageKey(c.table, key), row) << Narrow(key);
    }
}

INSTANTIATE_TEST_SUITE_P(
    Columns, LanguageHashTableTest,
    ::testing::Values(HashTableCase{"TwoLetter", &LanguageHashByTwoLetterCode, &LanguageRow::TwoLetterCode, 743, 183},
                      HashTableCase{"Terminologic", &LanguageHashByTerminologicCode, &LanguageRow::TerminologicCode,
                                    12659, 486},
                      HashTableCase{"Bibliographic", &LanguageHashByBibliographicCode,
                                    &LanguageRow::BibliographicCode, 12659, 486}),
    [](const ::testing::TestParamInfo<HashTableCase>& param) { return std::string(param.param.name); });

TEST(LanguageHashTest, UsesTheLowByteOfEachCodeUnitWithoutFoldingCase) {
    EXPECT_EQ(HashLanguageKey(u""), 0u);
    EXPECT_EQ(HashLanguageKey(u"en"), 69u * 33u + 78u);
    EXPECT_EQ(HashLanguageKey(u"\u0165n"), HashLanguageKey(u"en"));
    EXPECT_NE(HashLanguageKey(u"EN"), HashLanguageKey(u"en"));
    // Below the offset of 32 the byte wraps rather than going negative.
    EXPECT_EQ(HashLanguageKey(u"\x1F"), 255u);
}

TEST(LanguageLookupTest, ComparesWithoutCaseButOnlyWithinTheHashedBucket) {
    EXPECT_EQ(LookupLanguageKey(nullptr, u"en"), kNoLanguageRow);
    EXPECT_EQ(LookupLanguageKey(&LanguageHashByTwoLetterCode, nullptr), kNoLanguageRow);
    const LanguageHashTable empty = {0, nullptr};
    EXPECT_EQ(LookupLanguageKey(&empty, u"en"), kNoLanguageRow);

    EXPECT_EQ(LookupLanguageKey(&LanguageHashByTwoLetterCode, u"EN"), kNoLanguageRow);
    EXPECT_EQ(LookupLanguageKey(&LanguageHashByTerminologicCode, u"Eng"), kNoLanguageRow);
    EXPECT_EQ(LookupLanguageKey(&LanguageHashByTerminologicCode, u"ENG"), kNoLanguageRow);

    // With a single bucket every key lands beside "en", and the compare folds case.
    const LanguageHashEntry entry = {LanguageTable[kEnglish].TwoLetterCode, kEnglish};
    const LanguageHashBucket bucket = {1, &entry};
    const LanguageHashTable single = {1, &bucket};
    EXPECT_EQ(LookupLanguageKey(&single, u"EN"), kEnglish);
    EXPECT_EQ(LookupLanguageKey(&single, u"eN"), kEnglish);
    EXPECT_EQ(LookupLanguageKey(&single, u"e"), kNoLanguageRow);
    EXPECT_EQ(LookupLanguageKey(&single, u"enn"), kNoLanguageRow);
}

struct FindCase {
    const char16_t* input;
    int32_t row;
};

class FindLanguageRowTest : public ::testing::TestWithParam<FindCase> {};

TEST_P(FindLanguageRowTest, FindsTheRowOfTheFirstSubtag) {
    EXPECT_EQ(FindLanguageRow(GetParam().input), GetParam().row);
}

INSTANTIATE_TEST_SUITE_P(
    Inputs, FindLanguageRowTest,
    ::testing::Values(FindCase{u"en", kEnglish}, FindCase{u"eng", kEnglish}, FindCase{u" \t en \u3000", kEnglish},
                      FindCase{u"en-US", kEnglish}, FindCase{u"eng-GB", kEnglish}, FindCase{u"  en-", kEnglish},
                      FindCase{u"fr", kFrench}, FindCase{u"fra", kFrench}, FindCase{u"fre", kFrench},
                      FindCase{u"EN", kNoLanguageRow}, FindCase{u"Eng", kNoLanguageRow}, FindCase{u"eNg", kNoLanguageRow},
                      FindCase{u"", kNoLanguageRow}, FindCase{u"   ", kNoLanguageRow}, FindCase{nullptr, kNoLanguageRow},
                      FindCase{u"-en", kNoLanguageRow}, FindCase{u"pt_BR", kNoLanguageRow},
                      FindCase{u"pt-BR", kPortuguese}, FindCase{u"qaa", kReservedForLocalUse},
                      FindCase{u"qab", kNoLanguageRow}, FindCase{u"English", kNoLanguageRow},
                      FindCase{u"engl", kNoLanguageRow}, FindCase{u"e n", kNoLanguageRow},
                      FindCase{u"zh-Hans", kChinese}, FindCase{u"chi", kChinese}, FindCase{u"zho", kChinese}));

TEST(FindLanguageRowTest, TreatsTheSpecialCodesAsOrdinaryRows) {
    for (const char16_t* code : {u"und", u"mul", u"mis", u"zxx"}) {
        const int32_t row = FindLanguageRow(code);
        ASSERT_NE(row, kNoLanguageRow) << Narrow(code);
        EXPECT_EQ(std::u16string_view(LanguageTable[row].TerminologicCode), code);
    }
}

struct CodePageCase {
    const char16_t* language;
    UINT codePage;
};

class GetLanguageCodePageTest : public ::testing::TestWithParam<CodePageCase> {};

TEST_P(GetLanguageCodePageTest, GivesTheDefaultAnsiCodePageOfTheLanguage) {
    const CodePageCase& c = GetParam();
    EXPECT_EQ(GetLanguageCodePage(c.language), c.codePage) << Narrow(c.language != nullptr ? c.language : u"(null)");
}

INSTANTIATE_TEST_SUITE_P(
    Languages, GetLanguageCodePageTest,
    ::testing::Values(CodePageCase{u"ru", 1251}, CodePageCase{u"ja", 932}, CodePageCase{u"de", 1252},
                      CodePageCase{u"el", 1253}, CodePageCase{u"ger", 1252}, CodePageCase{u"zh-Hans", 936},
                      // Without a two-letter code the terminologic code names the locale.
                      CodePageCase{u"sah", 1251}, CodePageCase{u"ace", 0}, CodePageCase{u"fil", 1252},
                      // An unknown language is read as English.
                      CodePageCase{u"xxx", 1252}, CodePageCase{u"RU", 1252}, CodePageCase{nullptr, 1252}));

}  // namespace
