#include "subtitle/LanguageTable.h"

#include <array>
#include <cstddef>
#include <string_view>

#include "zqplatform/text.h"

constexpr LanguageRow LanguageTable[kLanguageRowCount] = {
#include "subtitle/LanguageTableRows.inc"
};

// A row list that came out one short would leave a row of null pointers.
static_assert(LanguageTable[kLanguageRowCount - 1].EnglishName != nullptr);

namespace {

using Column = const WCHAR* LanguageRow::*;

constexpr uint32_t kTwoLetterBucketCount = 743;
constexpr uint32_t kThreeLetterBucketCount = 12659;
/// No code of the table is longer than this; a longer text can't be a key.
constexpr size_t kMaxKeyLength = 3;

constexpr size_t CountKeys(Column column) {
    size_t count = 0;
    for (const LanguageRow& row : LanguageTable)
        count += (row.*column)[0] != 0 ? 1 : 0;
    return count;
}

/// The entries of one column, ordered by bucket and then by row, so that the
/// keys of a bucket stand side by side and a bucket can point at its first.
template <size_t KeyCount>
constexpr std::array<LanguageHashEntry, KeyCount> LayOutEntries(Column column, uint32_t bucketCount) {
    std::array<LanguageHashEntry, KeyCount> entries{};
    size_t count = 0;
    for (int32_t row = 0; row < kLanguageRowCount; ++row) {
        const WCHAR* key = LanguageTable[row].*column;
        if (key[0] == 0)
            continue;
        // Insertion by bucket keeps rows in order within a bucket.
        const uint32_t bucket = HashLanguageKey(key) % bucketCount;
        size_t at = count;
        while (at > 0 && HashLanguageKey(entries[at - 1].key) % bucketCount > bucket) {
            entries[at] = entries[at - 1];
            --at;
        }
        entries[at] = LanguageHashEntry{key, row};
        ++count;
    }
    return entries;
}

template <uint32_t BucketCount, size_t KeyCount>
constexpr std::array<LanguageHashBucket, BucketCount> LayOutBuckets(
    const std::array<LanguageHashEntry, KeyCount>& entries) {
    std::array<LanguageHashBucket, BucketCount> buckets{};
    for (const LanguageHashEntry& entry : entries) {
        LanguageHashBucket& bucket = buckets[HashLanguageKey(entry.key) % BucketCount];
        if (bucket.entryCount == 0)
            bucket.entries = &entry;
        ++bucket.entryCount;
    }
    return buckets;
}

template <size_t BucketCount>
constexpr uint32_t LargestBucket(const std::array<LanguageHashBucket, BucketCount>& buckets) {
    uint32_t largest = 0;
    for (const LanguageHashBucket& bucket : buckets)
        largest = bucket.entryCount > largest ? bucket.entryCount : largest;
    return largest;
}

constexpr auto kTwoLetterEntries = LayOutEntries<CountKeys(&LanguageRow::TwoLetterCode)>(
    &LanguageRow::TwoLetterCode, kTwoLetterBucketCount);
constexpr auto kTerminologicEntries = LayOutEntries<CountKeys(&LanguageRow::TerminologicCode)>(
    &LanguageRow::TerminologicCode, kThreeLetterBucketCount);
constexpr auto kBibliographicEntries = LayOutEntries<CountKeys(&LanguageRow::BibliographicCode)>(
    &LanguageRow::BibliographicCode, kThreeLetterBucketCount);

constexpr auto kTwoLetterBuckets = LayOutBuckets<kTwoLetterBucketCount>(kTwoLetterEntries);
constexpr auto kTerminologicBuckets = LayOutBuckets<kThreeLetterBucketCount>(kTerminologicEntries);
constexpr auto kBibliographicBuckets = LayOutBuckets<kThreeLetterBucketCount>(kBibliographicEntries);

// The bucket counts were chosen so that every lookup is one compare.
static_assert(LargestBucket(kTwoLetterBuckets) == 1);
static_assert(LargestBucket(kTerminologicBuckets) == 1);
static_assert(LargestBucket(kBibliographicBuckets) == 1);

constexpr WCHAR FoldAsciiCase(WCHAR c) noexcept {
    return c >= u'A' && c <= u'Z' ? static_cast<WCHAR>(c - u'A' + u'a') : c;
}

bool KeysEqualIgnoringCase(const WCHAR* a, const WCHAR* b) noexcept {
    for (; *a != 0 && *b != 0; ++a, ++b) {
        if (FoldAsciiCase(*a) != FoldAsciiCase(*b))
            return false;
    }
    return *a == *b;
}

std::u16string_view TrimSpace(std::u16string_view text) noexcept {
    while (!text.empty() && ZQIsSpaceInline(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && ZQIsSpaceInline(text.back()))
        text.remove_suffix(1);
    return text;
}

}  // namespace

constexpr LanguageHashTable LanguageHashByTwoLetterCode = {kTwoLetterBucketCount, kTwoLetterBuckets.data()};
constexpr LanguageHashTable LanguageHashByTerminologicCode = {kThreeLetterBucketCount, kTerminologicBuckets.data()};
constexpr LanguageHashTable LanguageHashByBibliographicCode = {kThreeLetterBucketCount,
                                                               kBibliographicBuckets.data()};

int32_t LookupLanguageKey(const LanguageHashTable* table, const WCHAR* key) noexcept {
    if (table == nullptr || key == nullptr || table->bucketCount == 0)
        return kNoLanguageRow;
    const LanguageHashBucket& bucket = table->buckets[HashLanguageKey(key) % table->bucketCount];
    for (uint32_t i = 0; i < bucket.entryCount; ++i) {
        if (KeysEqualIgnoringCase(key, bucket.entries[i].key))
            return bucket.entries[i].row;
    }
    return kNoLanguageRow;
}

int32_t FindLanguageRow(const WCHAR* language) noexcept {
    std::u16string_view text = language != nullptr ? std::u16string_view(language) : std::u16string_view();
    text = TrimSpace(text);
    // Only the first subtag of a language tag counts: "zh-Hans" is "zh".
    text = text.substr(0, text.find(u'-'));
    // Every key is two or three letters, so anything longer or empty finds
    // nothing, and a short key fits a local buffer without an allocation.
    if (text.empty() || text.size() > kMaxKeyLength)
        return kNoLanguageRow;
    WCHAR key[kMaxKeyLength + 1] = {};
    text.copy(key, text.size());

    for (const LanguageHashTable* table :
         {&LanguageHashByTwoLetterCode, &LanguageHashByTerminologicCode, &LanguageHashByBibliographicCode}) {
        const int32_t row = LookupLanguageKey(table, key);
        if (row != kNoLanguageRow)
            return row;
    }
    return kNoLanguageRow;
}

UINT GetLanguageCodePage(const WCHAR* language) noexcept {
    const int32_t row = FindLanguageRow(language);
    // An unknown language is read as English text.
    const WCHAR* localeName = u"en";
    if (row != kNoLanguageRow) {
        const LanguageRow& found = LanguageTable[row];
        localeName = found.TwoLetterCode[0] != 0 ? found.TwoLetterCode : found.TerminologicCode;
    }
    return ZQGetLocaleCodePage(localeName);
}
