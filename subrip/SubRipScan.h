// The two small text tools of the SubRip parser: the trim of a line and a
// formatted scan of its fields.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The line as the parser sees it: cut at its first U+0000, then without
/// whitespace (the platform's one class, ZQIsSpace) at either end.
std::u16string_view ZQTrimLine(std::u16string_view line) noexcept;

/// Scans `input` with `format` as the standard wide formatted scan does, for
/// formats made of "%d", "%c", whitespace and literal characters:
/// - "%d" skips whitespace, then takes an optional sign and ASCII digits; its
///   value wraps modulo 2^32 as accumulating in 32 bits does;
/// - "%c" takes exactly one character, whitespace included;
/// - whitespace in the format ("\n" too) takes any amount, none included;
/// - other characters must stand in the input as they are.
/// Converted fields go in order to `fields` (a character as its code unit);
/// a format with more than `capacity` fields is our bug. Answers the number
/// of fields converted before the first failure, or -1 when the input ends
/// before the first field was converted. Nothing behind the format is looked at.
int ZQScanFields(std::u16string_view input, std::string_view format, int32_t* fields, size_t capacity) noexcept;
