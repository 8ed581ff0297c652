// Conversions between the runtime's wide paths (UTF-16) and the kernel's
// byte paths (UTF-8).
#pragma once

#include <string>

#include "zqplatform/types.h"

namespace zqplatform {

/// UTF-8 bytes of a NUL-terminated UTF-16 path; a lone surrogate becomes
/// U+FFFD, so no path makes the conversion fail. Null gives "".
std::string NativePath(const WCHAR* path);

/// UTF-16 of UTF-8 bytes; each invalid sequence becomes one U+FFFD, as in
/// every UTF-8 conversion of the runtime.
std::u16string WidePath(const std::string& path);

/// Copies `text` and a NUL into `buffer` of `size` characters, cut to fit.
/// Answers the length copied, or `size` with ERROR_INSUFFICIENT_BUFFER when
/// the text was cut (the buffer then ends in a NUL unless `size` is 0).
DWORD CopyWideOut(const std::u16string& text, WCHAR* buffer, DWORD size);

}  // namespace zqplatform
