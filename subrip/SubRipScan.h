// The two small text tools of the SubRip parser: the trim of a line and a
// formatted scan of its fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "zqplatform/text.h"

/// The line as the parser sees it: cut at its first U+0000, then without
/// whitespace (the platform's one class, ZQIsSpace) at either end.
std::u16string_view ZQTrimLine(std::u16string_view line) noexcept;

/// A format of ZQScanFields, fixed when the program is built so that the scan
/// is laid out for it: one step per character of the format and nothing to
/// interpret while the parser runs over millions of lines.
template <size_t N>
struct ZQScanFormat {
    char text[N]{};
    consteval ZQScanFormat(const char (&format)[N]) noexcept {
        for (size_t i = 0; i < N; ++i)
            text[i] = format[i];
    }
    static constexpr size_t kLength = N - 1;
};

namespace zqscan {

constexpr bool IsFormatSpace(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

inline size_t SkipSpace(std::u16string_view input, size_t i) noexcept {
    while (i < input.size() && ZQIsSpaceInline(input[i]))
        ++i;
    return i;
}

struct Cursor {
    std::u16string_view input;
    size_t i = 0;
    int count = 0;
    /// The answer once a step has ended the scan.
    int result = 0;

    /// The end of the input before the first conversion is an input failure
    /// (-1); after it, the count stands.
    bool EndOfInput() noexcept {
        result = count == 0 ? -1 : count;
        return false;
    }
    bool Mismatch() noexcept {
        result = count;
        return false;
    }
};

/// The directive at index I of F; false when the scan ends there.
template <auto F, size_t I>
inline bool Step(Cursor& c, int32_t* fields) noexcept {
    constexpr char kDirective = F.text[I];
    if constexpr (I > 0 && F.text[I - 1] == '%') {
        // The letter of a conversion, done with its '%'.
        return true;
    } else if constexpr (IsFormatSpace(kDirective)) {
        c.i = SkipSpace(c.input, c.i);
        return true;
    } else if constexpr (kDirective != '%') {
        if (c.i == c.input.size())
            return c.EndOfInput();
        if (c.input[c.i] != static_cast<unsigned char>(kDirective))
            return c.Mismatch();
        ++c.i;
        return true;
    } else if constexpr (F.text[I + 1] == 'c') {
        if (c.i == c.input.size())
            return c.EndOfInput();
        fields[c.count++] = c.input[c.i++];
        return true;
    } else {
        static_assert(F.text[I + 1] == 'd', "the scan knows %d and %c");
        c.i = SkipSpace(c.input, c.i);
        if (c.i == c.input.size())
            return c.EndOfInput();
        bool negative = false;
        if (c.input[c.i] == u'+' || c.input[c.i] == u'-') {
            negative = c.input[c.i] == u'-';
            ++c.i;
        }
        const size_t digits = c.i;
        uint32_t value = 0;
        for (; c.i < c.input.size() && c.input[c.i] >= u'0' && c.input[c.i] <= u'9'; ++c.i)
            value = value * 10u + static_cast<uint32_t>(c.input[c.i] - u'0');
        // A sign alone, or no digit at all, is a matching failure.
        if (c.i == digits)
            return c.Mismatch();
        fields[c.count++] = static_cast<int32_t>(negative ? 0u - value : value);
        return true;
    }
}

}  // namespace zqscan

/// Scans `input` with the format F as the standard wide formatted scan does,
/// for formats made of "%d", "%c", whitespace and literal characters:
/// - "%d" skips whitespace, then takes an optional sign and ASCII digits; its
///   value wraps modulo 2^32 as accumulating in 32 bits does;
/// - "%c" takes exactly one character, whitespace included;
/// - whitespace in the format ("\n" too) takes any amount, none included;
/// - other characters must stand in the input as they are.
/// Converted fields go in order to `fields`, which has room for every
/// conversion of F (a character as its code unit). Answers the number of
/// fields converted before the first failure, or -1 when the input ends
/// before the first field was converted. Nothing behind the format is looked at.
template <ZQScanFormat F>
int ZQScanFields(std::u16string_view input, int32_t* fields) noexcept {
    zqscan::Cursor cursor{input};
    const bool whole = [&]<size_t... I>(std::index_sequence<I...>) {
        return (zqscan::Step<F, I>(cursor, fields) && ...);
    }(std::make_index_sequence<F.kLength>{});
    return whole ? cursor.count : cursor.result;
}
