#include "NativePath.h"

#include "zqplatform/status.h"

namespace zqplatform {

namespace {

constexpr char32_t kReplacement = 0xFFFD;

void AppendUtf8(std::string& out, char32_t c) {
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | (c >> 6));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | (c >> 12));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | (c >> 18));
        out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

void AppendUtf16(std::u16string& out, char32_t c) {
    if (c < 0x10000) {
        out += static_cast<char16_t>(c);
        return;
    }
    c -= 0x10000;
    out += static_cast<char16_t>(0xD800 + (c >> 10));
    out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
}

/// Decodes one UTF-8 sequence at `i`, advancing it; U+FFFD for a bad one
/// (one byte consumed, so decoding resumes at the next byte).
char32_t DecodeUtf8(const std::string& s, size_t& i) {
    auto lead = static_cast<unsigned char>(s[i++]);
    if (lead < 0x80)
        return lead;
    int extra = lead >= 0xF0 && lead <= 0xF4 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC2 && lead < 0xE0 ? 1 : -1;
    if (extra < 0 || i + extra > s.size())
        return kReplacement;
    char32_t c = lead & (0x3F >> extra);
    for (int k = 0; k < extra; ++k) {
        auto next = static_cast<unsigned char>(s[i + k]);
        if ((next & 0xC0) != 0x80)
            return kReplacement;
        c = (c << 6) | (next & 0x3F);
    }
    static constexpr char32_t kMinimum[] = {0, 0x80, 0x800, 0x10000};
    if (c < kMinimum[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
        return kReplacement;
    i += extra;
    return c;
}

}  // namespace

std::string NativePath(const WCHAR* path) {
    std::string out;
    if (path == nullptr)
        return out;
    for (size_t i = 0; path[i] != 0; ++i) {
        char32_t c = path[i];
        if (c >= 0xD800 && c <= 0xDBFF && path[i + 1] >= 0xDC00 && path[i + 1] <= 0xDFFF) {
            c = 0x10000 + ((c - 0xD800) << 10) + (path[i + 1] - 0xDC00);
            ++i;
        } else if (c >= 0xD800 && c <= 0xDFFF) {
            c = kReplacement;
        }
        AppendUtf8(out, c);
    }
    return out;
}

std::u16string WidePath(const std::string& path) {
    std::u16string out;
    for (size_t i = 0; i < path.size();)
        AppendUtf16(out, DecodeUtf8(path, i));
    return out;
}

DWORD CopyWideOut(const std::u16string& text, WCHAR* buffer, DWORD size) {
    if (buffer == nullptr || size == 0) {
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    if (text.size() >= size) {
        text.copy(buffer, size - 1);
        buffer[size - 1] = 0;
        SetLastError(ERROR_INSUFFICIENT_BUFFER);
        return size;
    }
    text.copy(buffer, text.size());
    buffer[text.size()] = 0;
    return static_cast<DWORD>(text.size());
}

}  // namespace zqplatform
