// Handles of modules that are already loaded: a module finding itself, and a
// client asking whether a module is still loaded.
#pragma once

#include "zqplatform/types.h"

/// The address given is one inside the module, not its name.
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS = 0x4;
/// The handle answered takes no reference (don't FreeLibrary it).
inline constexpr DWORD GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT = 0x2;

extern "C" {
/// The module that contains `nameOrAddress` (with FLAG_FROM_ADDRESS, which
/// this runtime requires) into `*module`, with a reference taken unless
/// FLAG_UNCHANGED_REFCOUNT is given. FALSE with ERROR_MOD_NOT_FOUND if no
/// loaded module holds the address, ERROR_INVALID_PARAMETER without the flag
/// or for a null `module`.
ZQPLATFORM_API BOOL GetModuleHandleExW(DWORD flags, LPCWSTR nameOrAddress, HMODULE* module);
/// The handle of a module already loaded from the path `fileName` (as given to
/// LoadLibraryW), without taking a reference; null with ERROR_MOD_NOT_FOUND if
/// it isn't loaded. Null `fileName` gives the main program.
ZQPLATFORM_API HMODULE GetModuleHandleW(LPCWSTR fileName);
}
