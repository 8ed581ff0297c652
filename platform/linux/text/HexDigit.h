// Hex digits of wide text, as GUIDs and the registry's escapes write them.
#pragma once

namespace zqplatform {

/// The value of one hex digit of either case, or -1 for anything else.
constexpr int HexDigit(char16_t c) noexcept {
    if (c >= u'0' && c <= u'9')
        return c - u'0';
    if (c >= u'a' && c <= u'f')
        return c - u'a' + 10;
    if (c >= u'A' && c <= u'F')
        return c - u'A' + 10;
    return -1;
}

}  // namespace zqplatform
