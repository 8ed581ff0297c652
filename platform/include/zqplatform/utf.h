// The one conversion between UTF-8 and UTF-16 for code that isn't bound to
// the platform's conversion calls themselves: tools, hosts, printing.
#pragma once

#include <string>
#include <string_view>

#include "zqplatform/text.h"

/// UTF-16 of UTF-8 `text`; each invalid sequence becomes U+FFFD, as in every
/// UTF-8 conversion of the platform. Embedded NULs are kept.
inline std::u16string ZQUtf16FromUtf8(std::string_view text) {
    if (text.empty())
        return {};
    const INT size = static_cast<INT>(text.size());
    const INT units = MultiByteToWideChar(CP_UTF8, 0, text.data(), size, nullptr, 0);
    std::u16string wide(units > 0 ? static_cast<size_t>(units) : 0, u'\0');
    if (units > 0)
        MultiByteToWideChar(CP_UTF8, 0, text.data(), size, wide.data(), units);
    return wide;
}

/// UTF-8 of UTF-16 `text`; a lone surrogate becomes U+FFFD. Embedded NULs are kept.
inline std::string ZQUtf8FromUtf16(std::u16string_view text) {
    if (text.empty())
        return {};
    const INT size = static_cast<INT>(text.size());
    const INT bytes = WideCharToMultiByte(CP_UTF8, 0, text.data(), size, nullptr, 0, nullptr, nullptr);
    std::string narrow(bytes > 0 ? static_cast<size_t>(bytes) : 0, '\0');
    if (bytes > 0)
        WideCharToMultiByte(CP_UTF8, 0, text.data(), size, narrow.data(), bytes, nullptr, nullptr);
    return narrow;
}

/// UTF-8 of a NUL-terminated UTF-16 text; null gives "".
inline std::string ZQUtf8FromUtf16(const WCHAR* text) {
    return text == nullptr ? std::string() : ZQUtf8FromUtf16(std::u16string_view(text));
}
