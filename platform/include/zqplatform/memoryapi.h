// Named process-wide records: file mappings without a file, which every copy
// of a library loaded in the process finds by name.
#pragma once

#include "zqplatform/fileapi.h"
#include "zqplatform/types.h"

inline constexpr DWORD PAGE_READONLY = 0x02;
inline constexpr DWORD PAGE_READWRITE = 0x04;
inline constexpr DWORD FILE_MAP_WRITE = 0x02;
inline constexpr DWORD FILE_MAP_READ = 0x04;
inline constexpr DWORD FILE_MAP_ALL_ACCESS = 0xF001F;

extern "C" {
/// A named record of zeroed memory shared by every user of the name in this
/// process (names are private to the process). `file` must be
/// INVALID_HANDLE_VALUE: only memory without a file is supported. A name in
/// use gives a new handle to the same record and sets ERROR_ALREADY_EXISTS;
/// a new record sets the last error to 0. The record lives while a handle or
/// a view of it is open; handles are closed with CloseHandle.
ZQPLATFORM_API HANDLE CreateFileMappingA(HANDLE file, void* securityAttributes, DWORD protect,
                                         DWORD maximumSizeHigh, DWORD maximumSizeLow, const char* name);
/// The record's memory, aligned for any scalar; every view of a record has
/// the same address here. `bytes` 0 maps the whole record.
ZQPLATFORM_API LPVOID MapViewOfFile(HANDLE mapping, DWORD desiredAccess, DWORD offsetHigh, DWORD offsetLow,
                                    size_t bytes);
ZQPLATFORM_API BOOL UnmapViewOfFile(const void* view);
}
