#include "subrip/SubRipScan.h"

#include <cassert>

#include "zqplatform/text.h"

namespace {

constexpr bool IsFormatSpace(char c) noexcept {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

size_t SkipSpace(std::u16string_view input, size_t i) noexcept {
    while (i < input.size() && ZQIsSpaceInline(input[i]))
        ++i;
    return i;
}

}  // namespace

std::u16string_view ZQTrimLine(std::u16string_view line) noexcept {
    size_t nul = line.find(u'\0');
    if (nul != std::u16string_view::npos)
        line = line.substr(0, nul);
    size_t end = line.size();
    while (end > 0 && ZQIsSpaceInline(line[end - 1]))
        --end;
    size_t start = 0;
    while (start < end && ZQIsSpaceInline(line[start]))
        ++start;
    return line.substr(start, end - start);
}

int ZQScanFields(std::u16string_view input, std::string_view format, int32_t* fields, size_t capacity) noexcept {
    int count = 0;
    // The end of the input before the first conversion is an input failure
    // (-1); after it, the count stands.
    auto inputFailure = [&count]() { return count == 0 ? -1 : count; };
    size_t i = 0;
    for (size_t f = 0; f < format.size(); ++f) {
        char directive = format[f];
        if (IsFormatSpace(directive)) {
            i = SkipSpace(input, i);
            continue;
        }
        if (directive != '%') {
            if (i == input.size())
                return inputFailure();
            if (input[i] != static_cast<unsigned char>(directive))
                return count;
            ++i;
            continue;
        }
        assert(f + 1 < format.size() && static_cast<size_t>(count) < capacity);
        char conversion = format[++f];
        if (conversion == 'c') {
            if (i == input.size())
                return inputFailure();
            fields[count++] = input[i++];
            continue;
        }
        assert(conversion == 'd');
        i = SkipSpace(input, i);
        if (i == input.size())
            return inputFailure();
        bool negative = false;
        if (input[i] == u'+' || input[i] == u'-') {
            negative = input[i] == u'-';
            ++i;
        }
        size_t digits = i;
        uint32_t value = 0;
        for (; i < input.size() && input[i] >= u'0' && input[i] <= u'9'; ++i)
            value = value * 10u + static_cast<uint32_t>(input[i] - u'0');
        // A sign alone, or no digit at all, is a matching failure.
        if (i == digits)
            return count;
        fields[count++] = static_cast<int32_t>(negative ? 0u - value : value);
    }
    (void)capacity;
    return count;
}
