// Byte code pages served through iconv.
#pragma once

#include <array>
#include <string>
#include <unordered_map>

#include "text/OutputBuffer.h"
#include "zqplatform/types.h"

namespace zqplatform {

/// What WideCharToMultiByte writes for a character the code page lacks: the
/// caller's default character (one or two bytes) or '?'.
struct DefaultChar {
    char bytes[2] = {'?', 0};
    size_t length = 1;
};

/// One byte code page by its Windows number. Single-byte pages are decoded
/// once into a table; multi-byte and stateful pages go through a per-thread
/// iconv descriptor. Pages are immutable and live for the process, so any
/// thread may use one at once.
class CodePage {
public:
    /// The page for a concrete number (not CP_ACP), or null when iconv can't
    /// serve it. UTF-8 and the UTF-16 numbers are not byte code pages here.
    static const CodePage* Find(UINT number);

    /// Decodes bytes; a byte that can't be converted becomes one U+FFFD and
    /// decoding goes on with the next byte.
    void Decode(const char* bytes, size_t count, OutputBuffer<char16_t>& out) const;

    /// Encodes UTF-16; a character the page lacks (or a lone surrogate)
    /// becomes `replacement`, and `usedDefault` is set.
    void Encode(const char16_t* units, size_t count, const DefaultChar& replacement, OutputBuffer<char>& out,
                bool& usedDefault) const;

    bool IsSingleByte() const noexcept { return m_singleByte; }

private:
    CodePage(UINT number, std::string iconvName) : m_number(number), m_iconvName(std::move(iconvName)) {}
    static CodePage* Create(UINT number);
    bool BuildTable();

    void DecodeThroughIconv(const char* bytes, size_t count, OutputBuffer<char16_t>& out) const;
    void EncodeThroughIconv(const char16_t* units, size_t count, const DefaultChar& replacement,
                            OutputBuffer<char>& out, bool& usedDefault) const;

    UINT m_number;
    std::string m_iconvName;
    bool m_singleByte = false;
    bool m_asciiIdentity = false;
    std::array<char16_t, 256> m_table{};
    std::unordered_map<char16_t, unsigned char> m_reverse;
};

}  // namespace zqplatform
