// Comparison without regard to case, over glibc's Unicode case tables.
#include <locale.h>
#include <wctype.h>

#include "zqplatform/text.h"

namespace {

/// The C.UTF-8 character classes, made once: towlower_l of the "C" locale
/// knows ASCII only, and the process's own locale is the application's.
locale_t CaseLocale() {
    static const locale_t s_locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    return s_locale;
}

/// The code point at `text[index]`, advancing `index` past it; a pair of
/// surrogates is one code point, a lone surrogate stands for itself.
char32_t NextCodePoint(LPCWSTR text, size_t& index) {
    const char32_t unit = text[index++];
    if (unit >= 0xD800 && unit <= 0xDBFF && text[index] >= 0xDC00 && text[index] <= 0xDFFF) {
        const char32_t low = text[index++];
        return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }
    return unit;
}

char32_t Lower(char32_t c) {
    const locale_t locale = CaseLocale();
    if (locale == static_cast<locale_t>(nullptr))
        return c >= U'A' && c <= U'Z' ? c + (U'a' - U'A') : c;
    return static_cast<char32_t>(towlower_l(static_cast<wint_t>(c), locale));
}

}  // namespace

extern "C" {

INT lstrcmpiW(LPCWSTR first, LPCWSTR second) {
    if (first == nullptr)
        first = u"";
    if (second == nullptr)
        second = u"";
    size_t i = 0;
    size_t j = 0;
    for (;;) {
        const char32_t a = Lower(NextCodePoint(first, i));
        const char32_t b = Lower(NextCodePoint(second, j));
        if (a != b)
            return a < b ? -1 : 1;
        if (a == 0)
            return 0;
    }
}

}  // extern "C"
