// Reading files: a Win32-flavoured open and a buffered binary read stream
// over the opened file, with 64-bit offsets throughout.
#pragma once

#include "zqplatform/types.h"

inline constexpr DWORD GENERIC_READ = 0x80000000u;
inline constexpr DWORD FILE_SHARE_READ = 0x00000001u;
inline constexpr DWORD FILE_SHARE_WRITE = 0x00000002u;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x00000080u;

inline constexpr int ZQ_SEEK_SET = 0;
inline constexpr int ZQ_SEEK_CUR = 1;
inline constexpr int ZQ_SEEK_END = 2;

/// An open file, as ZQCreateFileW gives it. Distinct from HANDLE so that a file
/// can't reach CloseHandle, which serves kernel objects only.
struct ZQFILE__;
using ZQHFILE = ZQFILE__*;
inline ZQHFILE const ZQ_INVALID_FILE = nullptr;

/// A buffered binary read stream; owns the file it was made from.
struct ZQStream;

extern "C" {
/// Opens an existing file for reading. Only GENERIC_READ and OPEN_EXISTING are
/// served; the share mode is accepted as given, and other processes may go on
/// reading and writing the file (nothing is locked). A directory is refused
/// with ERROR_ACCESS_DENIED, as a file open of a directory is. Answers
/// ZQ_INVALID_FILE and sets the last error on failure (ERROR_FILE_NOT_FOUND for
/// a missing file, ERROR_ACCESS_DENIED without permission, ERROR_INVALID_PARAMETER
/// for a null path or an access or disposition that isn't served).
ZQPLATFORM_API ZQHFILE ZQCreateFileW(const WCHAR* path, DWORD desiredAccess, DWORD shareMode,
                                     DWORD creationDisposition, DWORD flagsAndAttributes);
/// Closes a file that no stream has taken over. FALSE for ZQ_INVALID_FILE.
ZQPLATFORM_API BOOL ZQCloseFile(ZQHFILE file);

/// Wraps an open file into a buffered read stream; `mode` must be "rb". On
/// success the stream owns the file; on failure (null) the caller still does,
/// and the last error is set.
ZQPLATFORM_API ZQStream* ZQStreamFromFile(ZQHFILE file, const char* mode);
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

/// Test seam: streams made afterwards on the calling thread fail every read
/// that reaches byte `offset` of the file, with `errnoValue` mapped as any
/// errno is; the bytes before it are still delivered. A negative offset
/// turns the seam off again.
ZQPLATFORM_API void ZQStreamInjectReadFault(int64_t offset, int errnoValue);

/// The process's peak resident set size in bytes (VmHWM), or 0 when unknown.
ZQPLATFORM_API uint64_t ZQGetPeakResidentBytes();
}
