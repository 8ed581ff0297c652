// Shared objects: loading, symbol lookup and the path of a loaded module.
#pragma once

#include "zqplatform/types.h"

extern "C" {
/// Loads a shared object by path (or by soname, through the loader's search)
/// with its own symbols kept private. Null with the last error set on
/// failure: ERROR_MOD_NOT_FOUND. Each successful call takes one reference.
ZQPLATFORM_API HMODULE LoadLibraryW(const WCHAR* fileName);
/// The address of an exported symbol; null with ERROR_PROC_NOT_FOUND.
ZQPLATFORM_API void* GetProcAddress(HMODULE module, const char* procName);
/// Drops one reference; the module is unloaded, its static objects ended,
/// when the last one goes.
ZQPLATFORM_API BOOL FreeLibrary(HMODULE module);
/// The path of a loaded module, or of the main program for null. Copies at
/// most `size` - 1 characters and a NUL; answers the length copied, or
/// `size` with ERROR_INSUFFICIENT_BUFFER when the path was cut; 0 with the
/// last error set on failure.
ZQPLATFORM_API DWORD GetModuleFileNameW(HMODULE module, WCHAR* fileName, DWORD size);
}
