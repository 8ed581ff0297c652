// Files: the small Win32-style file API the runtime's own code needs (open or
// create, read, append, size, seek, flush, directories, the temporary folder).
// Handles are closed with CloseHandle.
#pragma once

#include "zqplatform/types.h"

/// A 64-bit signed count of bytes or counter ticks.
struct LARGE_INTEGER {
    LONGLONG QuadPart;
};

/// The handle value that CreateFileW answers on failure (not null). A macro,
/// as a reinterpret_cast can't be a constant and static initialisers use it.
#ifndef INVALID_HANDLE_VALUE
#define INVALID_HANDLE_VALUE (reinterpret_cast<HANDLE>(~uintptr_t{0}))
#endif

inline constexpr DWORD GENERIC_READ = 0x80000000u;
inline constexpr DWORD GENERIC_WRITE = 0x40000000u;

inline constexpr DWORD FILE_SHARE_READ = 0x1;
inline constexpr DWORD FILE_SHARE_WRITE = 0x2;
inline constexpr DWORD FILE_SHARE_DELETE = 0x4;

inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD TRUNCATE_EXISTING = 5;

inline constexpr DWORD FILE_ATTRIBUTE_READONLY = 0x01;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFFu;

inline constexpr DWORD FILE_BEGIN = 0;
inline constexpr DWORD FILE_CURRENT = 1;
inline constexpr DWORD FILE_END = 2;

inline constexpr DWORD MAX_PATH = 260;

/// MoveFileExW: replace a file that has the new name; make the move durable
/// before answering.
inline constexpr DWORD MOVEFILE_REPLACE_EXISTING = 0x1;
inline constexpr DWORD MOVEFILE_WRITE_THROUGH = 0x8;

/// The standard streams, as ZQIsTerminal names them.
inline constexpr DWORD STD_INPUT_HANDLE = static_cast<DWORD>(-10);
inline constexpr DWORD STD_OUTPUT_HANDLE = static_cast<DWORD>(-11);
inline constexpr DWORD STD_ERROR_HANDLE = static_cast<DWORD>(-12);

extern "C" {
/// Opens or creates a file. `access` is GENERIC_READ and/or GENERIC_WRITE;
/// `disposition` one of CREATE_NEW..TRUNCATE_EXISTING. The share mode is kept
/// among the runtime's users through advisory file locks: a writer that
/// doesn't share writing fails an open that conflicts with another such open
/// with ERROR_SHARING_VIOLATION (32), in this process or another one. Answers
/// INVALID_HANDLE_VALUE and sets the last error on failure: ERROR_ACCESS_DENIED
/// for a directory or missing rights, ERROR_FILE_NOT_FOUND for a missing file,
/// ERROR_PATH_NOT_FOUND for a missing folder on the way. OPEN_ALWAYS and
/// CREATE_ALWAYS on an existing file succeed with ERROR_ALREADY_EXISTS.
/// Security attributes, flags and the template are ignored (pass 0/null).
ZQPLATFORM_API HANDLE CreateFileW(const WCHAR* fileName, DWORD access, DWORD shareMode, void* securityAttributes,
                                  DWORD disposition, DWORD flagsAndAttributes, HANDLE templateFile);
/// Reads up to `size` bytes; `*read` 0 at the end of the file.
ZQPLATFORM_API BOOL ReadFile(HANDLE file, void* buffer, DWORD size, DWORD* read, void* overlapped);
/// Writes all `size` bytes or fails (a short write of a full disk is a failure).
ZQPLATFORM_API BOOL WriteFile(HANDLE file, const void* buffer, DWORD size, DWORD* written, void* overlapped);
ZQPLATFORM_API BOOL GetFileSizeEx(HANDLE file, LARGE_INTEGER* size);
ZQPLATFORM_API BOOL SetFilePointerEx(HANDLE file, LARGE_INTEGER distance, LARGE_INTEGER* newPosition,
                                     DWORD moveMethod);
ZQPLATFORM_API BOOL FlushFileBuffers(HANDLE file);
/// Creates one directory; ERROR_ALREADY_EXISTS if anything has that name.
ZQPLATFORM_API BOOL CreateDirectoryW(const WCHAR* pathName, void* securityAttributes);
/// FILE_ATTRIBUTE_DIRECTORY or FILE_ATTRIBUTE_NORMAL (with READONLY when the
/// caller may not write it), INVALID_FILE_ATTRIBUTES with the last error set
/// when nothing has that name.
ZQPLATFORM_API DWORD GetFileAttributesW(const WCHAR* fileName);
/// The temporary folder ($TMPDIR, else /tmp) with a trailing slash. Answers
/// the length without the NUL; when `size` is too small, the size needed
/// including the NUL, and the buffer is left alone.
ZQPLATFORM_API DWORD GetTempPathW(DWORD size, WCHAR* buffer);
/// Removes a file (not a directory). ERROR_FILE_NOT_FOUND when nothing has the
/// name, ERROR_ACCESS_DENIED for a directory or missing rights.
ZQPLATFORM_API BOOL DeleteFileW(const WCHAR* fileName);
/// Gives a file a new name within one file system, in one step: a reader sees
/// the old file or the new one under the new name, never a part. Without
/// MOVEFILE_REPLACE_EXISTING an existing target fails with ERROR_ALREADY_EXISTS
/// and nothing moves; with it the target is replaced. MOVEFILE_WRITE_THROUGH
/// makes the change of the folder durable before the call answers.
ZQPLATFORM_API BOOL MoveFileExW(const WCHAR* existingFileName, const WCHAR* newFileName, DWORD flags);
/// Whether the standard stream STD_INPUT_HANDLE, STD_OUTPUT_HANDLE or
/// STD_ERROR_HANDLE is a terminal, where a program may draw progress. FALSE
/// for files, pipes and anything else, and for other values.
ZQPLATFORM_API BOOL ZQIsTerminal(DWORD stdHandle);
}
