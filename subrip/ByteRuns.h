// Block-at-a-time scans for the reader's hot loops: most bytes of a subtitle
// file are 7-bit text, and these let the reader pass over them sixteen at a
// time. Without SSE2 the same answers come a byte at a time.
#pragma once

#include <cstddef>
#include <cstdint>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Length of the run at the start of [p, p + size) of bytes below 0x80 that
/// are none of `stopA`, `stopB` and `stopC` (all below 0x80).
inline size_t ZQSevenBitRun(const unsigned char* p, size_t size, unsigned char stopA, unsigned char stopB,
                            unsigned char stopC) noexcept {
    size_t n = 0;
#if defined(__SSE2__)
    const __m128i a = _mm_set1_epi8(static_cast<char>(stopA));
    const __m128i b = _mm_set1_epi8(static_cast<char>(stopB));
    const __m128i c = _mm_set1_epi8(static_cast<char>(stopC));
    for (; size - n >= 16; n += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + n));
        // A byte's own high bit and the all-ones of a match both land in the mask.
        const __m128i matches =
            _mm_or_si128(_mm_cmpeq_epi8(v, a), _mm_or_si128(_mm_cmpeq_epi8(v, b), _mm_cmpeq_epi8(v, c)));
        const __m128i stops = _mm_or_si128(v, matches);
        const int mask = _mm_movemask_epi8(stops);
        if (mask != 0)
            return n + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask)));
    }
#endif
    for (; n < size; ++n) {
        const unsigned char byte = p[n];
        if (byte >= 0x80 || byte == stopA || byte == stopB || byte == stopC)
            break;
    }
    return n;
}

/// Writes the `count` 7-bit bytes at `p` as UTF-16 units to `out`.
inline void ZQWidenSevenBit(const unsigned char* p, size_t count, char16_t* out) noexcept {
    size_t n = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    for (; count - n >= 16; n += 16) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p + n));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + n), _mm_unpacklo_epi8(v, zero));
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out + n + 8), _mm_unpackhi_epi8(v, zero));
    }
#endif
    for (; n < count; ++n)
        out[n] = p[n];
}

/// Index of the first U+0000 in [text, text + size), or `size`.
inline size_t ZQFindNulUnit(const char16_t* text, size_t size) noexcept {
    size_t n = 0;
#if defined(__SSE2__)
    const __m128i zero = _mm_setzero_si128();
    for (; size - n >= 8; n += 8) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text + n));
        const int mask = _mm_movemask_epi8(_mm_cmpeq_epi16(v, zero));
        if (mask != 0)
            return n + static_cast<size_t>(__builtin_ctz(static_cast<unsigned>(mask))) / 2;
    }
#endif
    for (; n < size; ++n) {
        if (text[n] == 0)
            break;
    }
    return n;
}
