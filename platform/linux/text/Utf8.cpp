// Our own UTF-8 codec: iconv stops at the first bad sequence, while the
// platform's behaviour is to replace and go on.
#include "text/Utf8.h"

#include <cstdint>

namespace zqplatform {

namespace {

void PutCodePoint(uint32_t codePoint, OutputBuffer<char16_t>& out) {
    if (codePoint < 0x10000) {
        out.Put(static_cast<char16_t>(codePoint));
        return;
    }
    codePoint -= 0x10000;
    out.Put(static_cast<char16_t>(0xD800 + (codePoint >> 10)));
    out.Put(static_cast<char16_t>(0xDC00 + (codePoint & 0x3FF)));
}

/// What a lead byte promises: how many continuation bytes follow, the bits
/// it carries, and the allowed range of the first continuation byte (which
/// is where overlong forms, surrogates and values above U+10FFFF show).
struct LeadByte {
    int continuations;  // -1: not a lead byte
    uint32_t bits;
    unsigned char firstLow;
    unsigned char firstHigh;
};

LeadByte ClassifyLead(unsigned char b) {
    if (b >= 0xC2 && b <= 0xDF)
        return {1, b & 0x1Fu, 0x80, 0xBF};
    if (b == 0xE0)
        return {2, b & 0x0Fu, 0xA0, 0xBF};
    if (b == 0xED)
        return {2, b & 0x0Fu, 0x80, 0x9F};
    if (b >= 0xE1 && b <= 0xEF)
        return {2, b & 0x0Fu, 0x80, 0xBF};
    if (b == 0xF0)
        return {3, b & 0x07u, 0x90, 0xBF};
    if (b >= 0xF1 && b <= 0xF3)
        return {3, b & 0x07u, 0x80, 0xBF};
    if (b == 0xF4)
        return {3, b & 0x07u, 0x80, 0x8F};
    return {-1, 0, 0, 0};
}

}  // namespace

void DecodeUtf8(const char* bytes, size_t count, OutputBuffer<char16_t>& out) {
    const auto* s = reinterpret_cast<const unsigned char*>(bytes);
    size_t i = 0;
    while (i < count) {
        unsigned char b = s[i];
        if (b < 0x80) {
            out.Put(b);
            ++i;
            continue;
        }
        LeadByte lead = ClassifyLead(b);
        ++i;
        if (lead.continuations < 0) {
            out.Put(kReplacementCharacter);
            continue;
        }
        uint32_t codePoint = lead.bits;
        unsigned char low = lead.firstLow;
        unsigned char high = lead.firstHigh;
        int taken = 0;
        for (; taken < lead.continuations && i < count; ++taken, ++i) {
            if (s[i] < low || s[i] > high)
                break;
            codePoint = (codePoint << 6) | (s[i] & 0x3Fu);
            low = 0x80;
            high = 0xBF;
        }
        // A sequence cut short is replaced as a whole; the byte that cut it
        // starts the next round.
        if (taken < lead.continuations) {
            out.Put(kReplacementCharacter);
            continue;
        }
        PutCodePoint(codePoint, out);
    }
}

void EncodeUtf8(const char16_t* units, size_t count, OutputBuffer<char>& out) {
    for (size_t i = 0; i < count; ++i) {
        uint32_t c = units[i];
        if (c < 0x80) {
            out.Put(static_cast<char>(c));
            continue;
        }
        if (c >= 0xD800 && c <= 0xDFFF) {
            bool pair = c <= 0xDBFF && i + 1 < count && units[i + 1] >= 0xDC00 && units[i + 1] <= 0xDFFF;
            if (!pair) {
                c = kReplacementCharacter;
            } else {
                c = 0x10000 + ((c - 0xD800) << 10) + (units[i + 1] - 0xDC00);
                ++i;
            }
        }
        if (c < 0x800) {
            out.Put(static_cast<char>(0xC0 | (c >> 6)));
        } else if (c < 0x10000) {
            out.Put(static_cast<char>(0xE0 | (c >> 12)));
            out.Put(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        } else {
            out.Put(static_cast<char>(0xF0 | (c >> 18)));
            out.Put(static_cast<char>(0x80 | ((c >> 12) & 0x3F)));
            out.Put(static_cast<char>(0x80 | ((c >> 6) & 0x3F)));
        }
        out.Put(static_cast<char>(0x80 | (c & 0x3F)));
    }
}

}  // namespace zqplatform
