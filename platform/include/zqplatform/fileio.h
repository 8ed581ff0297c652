// Reading files: a buffered binary read stream over a file handle opened with
// CreateFileW, with 64-bit offsets throughout.
#pragma once

#include "zqplatform/types.h"

inline constexpr int ZQ_SEEK_SET = 0;
inline constexpr int ZQ_SEEK_CUR = 1;
inline constexpr int ZQ_SEEK_END = 2;

/// A buffered binary read stream; owns the file it was made from.
struct ZQStream;

extern "C" {
/// Wraps a file handle opened by CreateFileW with GENERIC_READ into a buffered
/// read stream; `mode` must be "rb". On success the stream takes the handle
/// over: the handle is closed and the stream owns the file. On failure (null)
/// the caller still owns the handle, and the last error is set
/// (ERROR_INVALID_HANDLE for anything that is no file handle).
ZQPLATFORM_API ZQStream* ZQStreamFromHandle(HANDLE file, const char* mode);
/// Reads up to `count` bytes; answers how many were read. Fewer than asked
/// means the end of the file or an error: ZQStreamError tells which, and after
/// an error the last error holds its Win32 number.
ZQPLATFORM_API size_t ZQStreamRead(ZQStream* stream, void* buffer, size_t count);
/// Moves the position (origin ZQ_SEEK_SET, ZQ_SEEK_CUR, ZQ_SEEK_END). 0 on
/// success, -1 (last error set) when the stream refuses, as for a position
/// before the start. A seek clears the end-of-file state but not an error.
ZQPLATFORM_API int ZQStreamSeek(ZQStream* stream, int64_t offset, int origin);
/// The position in bytes from the start of the file, or -1.
ZQPLATFORM_API int64_t ZQStreamTell(ZQStream* stream);
/// The length of the stream's file in bytes, or -1 when it has no known length.
ZQPLATFORM_API int64_t ZQStreamLength(ZQStream* stream);
/// Whether a read has failed since the stream was made.
ZQPLATFORM_API BOOL ZQStreamError(ZQStream* stream);
/// Closes the stream and its file. Null is accepted.
ZQPLATFORM_API void ZQStreamClose(ZQStream* stream);

}
