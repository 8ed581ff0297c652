#include "subtitle/LanguageTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "zqplatform/text.h"

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

std::u16string Wide(const std::string& utf8) {
    std::u16string out(utf8.size(), u'\0');
    const int length = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), out.data(),
                                           static_cast<int>(out.size()));
    out.resize(length > 0 ? static_cast<size_t>(length) : 0);
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

struct ListedRow {
    std::u16string name, terminologic, bibliographic, twoLetter;
};

/// The rows as the list beside this test gives them, one per line:
/// "Name ter[/bib] [two]".
std::vector<ListedRow> ReadListedRows() {
    const char* source = std::getenv("ZQ_SOURCE_DIR");
    std::ifstream in(std::filesystem::path(source != nullptr ? source : ".") / "subtitle/tests/LanguageRows.txt");
    std::vector<ListedRow> rows;
    for (std::string line; std::getline(in, line);) {
        if (line.empty() || line[0] == '#')
            continue;
        std::vector<std::string> words;
        for (size_t at = 0, space; at <= line.size(); at = space + 1) {
            space = std::min(line.find(' ', at), line.size());
            words.push_back(line.substr(at, space - at));
        }
        ListedRow row;
        if (words.back().size() == 2) {
            row.twoLetter = Wide(words.back());
            words.pop_back();
        }
        const std::string codes = words.back();
        words.pop_back();
        row.terminologic = Wide(codes.substr(0, 3));
        row.bibliographic = Wide(codes.size() > 3 ? codes.substr(4) : codes);
        std::string name;
        for (const std::string& word : words)
            name += (name.empty() ? "" : " ") + word;
        row.name = Wide(name);
        rows.push_back(row);
    }
    return rows;
}

TEST(LanguageTableTest, HoldsEveryListedRowWithItsFourFieldsInOrder) {
    const std::vector<ListedRow> listed = ReadListedRows();
    ASSERT_EQ(listed.size(), static_cast<size_t>(kLanguageRowCount));
    int twoLetterCodes = 0;
    int differing = 0;
    for (int32_t row = 0; row < kLanguageRowCount; ++row) {
        SCOPED_TRACE(row);
        const LanguageRow& r = LanguageTable[row];
        EXPECT_EQ(std::u16string_view(r.EnglishName), listed[row].name);
        EXPECT_EQ(std::u16string_view(r.TerminologicCode), listed[row].terminologic);
        EXPECT_EQ(std::u16string_view(r.BibliographicCode), listed[row].bibliographic);
        EXPECT_EQ(std::u16string_view(r.TwoLetterCode), listed[row].twoLetter);
        if (row > 0) {
            EXPECT_LT(FoldAscii(LanguageTable[row - 1].EnglishName), FoldAscii(r.EnglishName));
        }
        twoLetterCodes += listed[row].twoLetter.empty() ? 0 : 1;
        differing += listed[row].terminologic != listed[row].bibliographic ? 1 : 0;
    }
    EXPECT_EQ(twoLetterCodes, 183);
    EXPECT_EQ(differing, 20) << "the languages with a bibliographic code of their own";
    EXPECT_EQ(RowByName(u"English"), kEnglish);
    EXPECT_EQ(RowByName(u"French"), kFrench);
    EXPECT_EQ(RowByName(u"Reserved for local use"), kReservedForLocalUse);
}

struct HashTableCase {
    const char* name;
    const LanguageHashTable* table;
    const WCHAR* LanguageRow::*column;
    uint32_t bucketCount;
    uint32_t keyCount;
};

class LanguageHashTableTest : public ::testing::TestWithParam<HashTableCase> {};

TEST_P(LanguageHashTableTest, HoldsEveryKeyOnceWithAtMostOneEntryPerBucketAndFindsEveryRow) {
    const HashTableCase& c = GetParam();
    ASSERT_EQ(c.table->bucketCount, c.bucketCount);
    uint32_t entries = 0;
    for (uint32_t b = 0; b < c.table->bucketCount; ++b) {
        const LanguageHashBucket& bucket = c.table->buckets[b];
        ASSERT_LE(bucket.entryCount, 1u) << "bucket " << b;
        EXPECT_EQ(bucket.entries == nullptr, bucket.entryCount == 0) << "bucket " << b;
        for (uint32_t i = 0; i < bucket.entryCount; ++i) {
            EXPECT_EQ(HashLanguageKey(bucket.entries[i].key) % c.bucketCount, b);
            // The key is the table's own string, not a copy of it.
            EXPECT_EQ(bucket.entries[i].key, LanguageTable[bucket.entries[i].row].*c.column);
        }
        entries += bucket.entryCount;
    }
    EXPECT_EQ(entries, c.keyCount);
    for (int32_t row = 0; row < kLanguageRowCount; ++row) {
        const WCHAR* key = LanguageTable[row].*c.column;
        if (key[0] != 0) {
            EXPECT_EQ(LookupLanguageKey(c.table, key), row) << Narrow(key);
        }
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

TEST(LanguageLookupTest, HashesLowBytesAndComparesWithoutCaseButOnlyWithinTheHashedBucket) {
    EXPECT_EQ(HashLanguageKey(u"\u0165n"), HashLanguageKey(u"en"));
    EXPECT_NE(HashLanguageKey(u"EN"), HashLanguageKey(u"en"));
    EXPECT_EQ(HashLanguageKey(u"\x1F"), 255u) << "below the offset of 32 the byte wraps";
    EXPECT_EQ(LookupLanguageKey(nullptr, u"en"), kNoLanguageRow);
    EXPECT_EQ(LookupLanguageKey(&LanguageHashByTwoLetterCode, nullptr), kNoLanguageRow);
    const LanguageHashTable empty = {0, nullptr};
    EXPECT_EQ(LookupLanguageKey(&empty, u"en"), kNoLanguageRow);

    EXPECT_EQ(LookupLanguageKey(&LanguageHashByTwoLetterCode, u"EN"), kNoLanguageRow);
    EXPECT_EQ(LookupLanguageKey(&LanguageHashByTerminologicCode, u"Eng"), kNoLanguageRow);

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
                      FindCase{u"zh-Hans", kChinese}, FindCase{u"chi", kChinese}, FindCase{u"zho", kChinese},
                      // The special codes are ordinary rows.
                      FindCase{u"mul", 299}, FindCase{u"zxx", 315}, FindCase{u"mis", 454}, FindCase{u"und", 455}));

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
