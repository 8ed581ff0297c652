// Code page conversions and the one whitespace class.
#pragma once

#include "zqplatform/types.h"

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_OEMCP = 1;
inline constexpr UINT CP_THREAD_ACP = 3;
inline constexpr UINT CP_UTF8 = 65001;

extern "C" {
/// Converts `cbMultiByte` bytes (-1: up to and including the NUL) of code page
/// `codePage` into UTF-16. With `cchWideChar` 0 answers the length needed.
/// Answers 0 and sets the last error on failure: ERROR_INVALID_PARAMETER for
/// a code page iconv can't serve or a bad argument, ERROR_INSUFFICIENT_BUFFER
/// when the output doesn't fit. A byte that can't be converted becomes one
/// U+FFFD; invalid UTF-8 sequences become U+FFFD each. `flags` must be 0.
ZQPLATFORM_API INT MultiByteToWideChar(UINT codePage, DWORD flags, const char* lpMultiByteStr, INT cbMultiByte,
                                       WCHAR* lpWideCharStr, INT cchWideChar);
/// The reverse direction; a lone surrogate becomes U+FFFD in UTF-8, a
/// character without a mapping in a code page becomes '?'. `defaultChar` and
/// `usedDefaultChar` are accepted for code pages other than UTF-8 and may be null.
ZQPLATFORM_API INT WideCharToMultiByte(UINT codePage, DWORD flags, const WCHAR* lpWideCharStr, INT cchWideChar,
                                       char* lpMultiByteStr, INT cbMultiByte, const char* defaultChar,
                                       BOOL* usedDefaultChar);
/// The process's ANSI code page: 1252 on Linux, the system's on Windows.
ZQPLATFORM_API UINT GetACP();
/// Whether iconv can serve a code page number here.
ZQPLATFORM_API BOOL IsValidCodePage(UINT codePage);
/// The one whitespace class used wherever text is trimmed or scanned:
/// U+0009..U+000D, U+0020, U+0085, U+00A0, U+1680, U+2000..U+200A, U+2028,
/// U+2029, U+202F, U+205F, U+3000.
ZQPLATFORM_API BOOL ZQIsSpace(WCHAR c);
/// Compares two NUL-terminated texts without regard to case: code point by
/// code point after each is mapped to lower case (the simple mappings of
/// Unicode, so "Ä" equals "ä" and "ABC" equals "abc"). Negative, 0 or
/// positive as `first` sorts before, with or after `second`. Null reads as
/// the empty text. Unpaired surrogates compare as themselves.
ZQPLATFORM_API INT lstrcmpiW(LPCWSTR first, LPCWSTR second);
/// The ANSI code page of a language given by its locale name ("ru", "ja",
/// "zh-TW", case ignored, region ignored): 0 when the language isn't listed,
/// which reads as CP_ACP. On Windows the system's locale data answers
/// (LocaleNameToLCID, GetLocaleInfoW), region included; 0 likewise for a
/// locale it doesn't know or one without an ANSI code page.
ZQPLATFORM_API UINT ZQGetLocaleCodePage(const WCHAR* localeName);
}

/// Inline form of the whitespace class, for the hot loops of scanners.
inline constexpr bool ZQIsSpaceInline(char16_t c) noexcept {
    if (c <= 0x20)
        return c == 0x20 || (c >= 0x09 && c <= 0x0D);
    if (c < 0x85)
        return false;
    return c == 0x85 || c == 0xA0 || c == 0x1680 || (c >= 0x2000 && c <= 0x200A) || c == 0x2028 ||
           c == 0x2029 || c == 0x202F || c == 0x205F || c == 0x3000;
}
