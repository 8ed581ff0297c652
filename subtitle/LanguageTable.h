// The one table of languages that the system knows, its constant hash tables
// and the lookups over them. All of it is constant data, complete before the
// first call; every thread may call these functions at any time.
#pragma once

#include <cstdint>

#include "zqplatform/types.h"

/// One language. Every field is a constant NUL-terminated string, never null.
struct LanguageRow {
    const WCHAR* EnglishName;        ///< name shown to users
    const WCHAR* TerminologicCode;   ///< ISO 639-2/T
    const WCHAR* BibliographicCode;  ///< ISO 639-2/B (equal to the /T code for most rows)
    const WCHAR* TwoLetterCode;      ///< ISO 639-1; the empty string where there is none
};

/// A key of one column: `key` is the very string of LanguageTable, not a copy.
struct LanguageHashEntry {
    const WCHAR* key;
    int32_t row;
};

/// The keys that hash to one bucket; `entries` is null when `entryCount` is 0.
struct LanguageHashBucket {
    uint32_t entryCount;
    const LanguageHashEntry* entries;
};

/// An open hash over one column of LanguageTable: a key stands in bucket
/// HashLanguageKey(key) % bucketCount.
struct LanguageHashTable {
    uint32_t bucketCount;
    const LanguageHashBucket* buckets;
};

inline constexpr int32_t kLanguageRowCount = 486;
/// The row index that means "no language".
inline constexpr int32_t kNoLanguageRow = -1;

/// The languages of ISO 639-2, sorted by English name without regard to case.
/// A row's index is how the rest of the system names a language.
extern const LanguageRow LanguageTable[kLanguageRowCount];

extern const LanguageHashTable LanguageHashByTwoLetterCode;     ///< 183 keys in 743 buckets
extern const LanguageHashTable LanguageHashByTerminologicCode;  ///< 486 keys in 12659 buckets
extern const LanguageHashTable LanguageHashByBibliographicCode; ///< 486 keys in 12659 buckets

/// Hash of a key, not null: per code unit, hash = hash * 33 + ((low byte - 32)
/// mod 256), wrapping in 32 bits. The high byte plays no part and case is not
/// folded, so "en" and "EN" hash differently; the empty string hashes to 0.
constexpr uint32_t HashLanguageKey(const WCHAR* key) noexcept {
    uint32_t hash = 0;
    for (; *key != 0; ++key) {
        const auto value = static_cast<uint8_t>(static_cast<uint8_t>(*key) - 32u);
        hash = hash * 33u + value;
    }
    return hash;
}

/// The row whose key in `table` equals `key` without regard to case, or -1.
/// The bucket is chosen by the case-sensitive hash first, so in practice only
/// the table's own (lower) case is found. A null table or key gives -1.
int32_t LookupLanguageKey(const LanguageHashTable* table, const WCHAR* key) noexcept;

/// The row of a language given by a caller: blanks trimmed, only the text
/// before the first "-" counts, then looked up as two-letter, terminologic and
/// bibliographic code in turn. English names are no keys. Null gives -1.
int32_t FindLanguageRow(const WCHAR* language) noexcept;

/// The default ANSI code page of a language: that of its row's two-letter code
/// (else its terminologic code), that of "en" for a language not in the table.
/// 0, which reads as the system's default code page, where the platform knows
/// no code page for the locale name. Null reads as an unknown language.
UINT GetLanguageCodePage(const WCHAR* language) noexcept;
