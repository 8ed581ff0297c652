// The system calls that the Windows backend needs and the platform headers
// don't declare, behind plain types: the files that include the platform
// headers can't include <windows.h> as well (both declare the same functions
// with types of their own), so the few calls beyond the headers go through
// SystemCalls.cpp, the one file here that includes it.
#pragma once

#include <cstdint>

namespace zqplatform::win32 {

/// The system's text of a status: its message tables (FormatMessageW), then
/// the media framework's (AMGetErrorTextW of quartz.dll, loaded when first
/// needed). Copies at most `capacity` - 1 units and a NUL, without the
/// trailing line end the system adds; answers the full length, 0 when the
/// system has no text for it.
uint32_t SystemStatusText(int32_t status, char16_t* buffer, uint32_t capacity) noexcept;

/// The ANSI code page of a locale name by the system's locale data; 0 for a
/// name it doesn't know and for a locale without an ANSI code page.
uint32_t SystemLocaleCodePage(const char16_t* localeName) noexcept;

/// Whether the standard stream `stdHandle` (STD_INPUT_HANDLE and the others,
/// as the system numbers them) is a console.
bool SystemIsConsole(uint32_t stdHandle) noexcept;

}  // namespace zqplatform::win32
