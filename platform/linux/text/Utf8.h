// UTF-8 <-> UTF-16 with the platform's replacement rules.
#pragma once

#include "text/OutputBuffer.h"

namespace zqplatform {

inline constexpr char16_t kReplacementCharacter = 0xFFFD;

/// Decodes UTF-8. Each maximal ill-formed subsequence (a stray continuation
/// byte, an overlong form, a surrogate's encoding, a value above U+10FFFF, a
/// truncated sequence) becomes one U+FFFD and decoding goes on after it.
void DecodeUtf8(const char* bytes, size_t count, OutputBuffer<char16_t>& out);

/// Encodes UTF-16 as UTF-8; a lone surrogate becomes U+FFFD.
void EncodeUtf8(const char16_t* units, size_t count, OutputBuffer<char>& out);

}  // namespace zqplatform
