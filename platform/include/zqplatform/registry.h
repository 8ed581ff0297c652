// The registry: keys and values in two hives, per user and per machine, with
// the merged classes view that reads the user's classes before the machine's.
//
// Each hive is a text file that is replaced whole on every change, under an
// exclusive lock, so that processes writing at once take turns and a crash
// leaves the old or the new file. A reader sees another process's change at
// its next call.
//
// Where the hives live: the user's under $XDG_DATA_HOME (default
// ~/.local/share) in ZQPlatform/, the machine's in a folder fixed when the
// runtime is built, under its install prefix. ZQPLATFORM_REGISTRY_ROOT, when
// set, puts both into that folder instead ("user.reg", "machine.reg"); tests
// set it. Without it the machine hive can be changed only by a runtime that
// runs from its installed place, so a build tree's copy never writes the real
// machine's hive (ERROR_ACCESS_DENIED).
#pragma once

#include "zqplatform/status.h"

struct HKEY__;
using HKEY = HKEY__*;
using PHKEY = HKEY*;
using LSTATUS = LONG;
using REGSAM = DWORD;

#if defined(_WIN32)
// Windows' values: the 32-bit numbers sign-extended, as its headers make them.
#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<intptr_t>(static_cast<int32_t>(0x80000000u))))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<intptr_t>(static_cast<int32_t>(0x80000001u))))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<intptr_t>(static_cast<int32_t>(0x80000002u))))
#else
#define HKEY_CLASSES_ROOT (reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x80000000u)))
#define HKEY_CURRENT_USER (reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x80000001u)))
#define HKEY_LOCAL_MACHINE (reinterpret_cast<HKEY>(static_cast<uintptr_t>(0x80000002u)))
#endif

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_EXPAND_SZ = 2;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;

inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

// Access rights are accepted and not checked: a key opened for reading may be
// written, as the hive's file permissions are what protects it here.
inline constexpr REGSAM KEY_QUERY_VALUE = 0x0001;
inline constexpr REGSAM KEY_SET_VALUE = 0x0002;
inline constexpr REGSAM KEY_CREATE_SUB_KEY = 0x0004;
inline constexpr REGSAM KEY_ENUMERATE_SUB_KEYS = 0x0008;
inline constexpr REGSAM KEY_READ = 0x20019;
inline constexpr REGSAM KEY_WRITE = 0x20006;
inline constexpr REGSAM KEY_ALL_ACCESS = 0xF003F;

/// Registry errors beyond those of status.h.
inline constexpr uint32_t ERROR_MORE_DATA = 234;
inline constexpr uint32_t ERROR_NO_MORE_ITEMS = 259;
inline constexpr uint32_t ERROR_BADDB = 1009;
inline constexpr uint32_t ERROR_KEY_DELETED = 1018;

/// The longest key name; names are compared without regard to ASCII case.
inline constexpr DWORD kZQMaxRegistryKeyName = 255;

struct FILETIME;

extern "C" {
/// Opens `subKey` under `key`, creating it and the keys on its way if needed.
/// `*disposition`, if not null, tells whether it was created. A null or empty
/// `subKey` opens `key` again. Through HKEY_CLASSES_ROOT a new key goes to
/// the machine's hive unless the user's hive already has it.
/// ERROR_INVALID_PARAMETER for a name that starts with a backslash, has an
/// empty part or a part over 255 characters; ERROR_ACCESS_DENIED for the
/// machine hive as told above; ERROR_BADDB for a hive file that can't be read.
ZQPLATFORM_API LSTATUS RegCreateKeyExW(HKEY key, const WCHAR* subKey, DWORD reserved, WCHAR* keyClass, DWORD options,
                                       REGSAM access, const void* securityAttributes, PHKEY result,
                                       DWORD* disposition);
/// Opens an existing key; ERROR_FILE_NOT_FOUND if it doesn't exist.
ZQPLATFORM_API LSTATUS RegOpenKeyExW(HKEY key, const WCHAR* subKey, DWORD options, REGSAM access, PHKEY result);
/// Closes a key opened by the two above; the predefined keys need no closing.
ZQPLATFORM_API LSTATUS RegCloseKey(HKEY key);

/// Sets a value; a null or empty `name` is the key's default value. REG_SZ
/// data is the text with its NUL, `size` in bytes. ERROR_KEY_DELETED if
/// the key has gone since it was opened.
ZQPLATFORM_API LSTATUS RegSetValueExW(HKEY key, const WCHAR* name, DWORD reserved, DWORD type, const BYTE* data,
                                      DWORD size);
/// Reads a value: `*type` and, if `data` is not null, the bytes into `data`.
/// `*size` holds the buffer's size in bytes on entry and the value's on
/// return. ERROR_MORE_DATA if the buffer is too small (nothing copied),
/// ERROR_FILE_NOT_FOUND for a missing value. A null `data` with a `size`
/// asks for the size only.
ZQPLATFORM_API LSTATUS RegQueryValueExW(HKEY key, const WCHAR* name, DWORD* reserved, DWORD* type, BYTE* data,
                                        DWORD* size);
/// Deletes a value; ERROR_FILE_NOT_FOUND if it isn't there.
ZQPLATFORM_API LSTATUS RegDeleteValueW(HKEY key, const WCHAR* name);
/// Deletes `subKey`, which must have no subkeys (ERROR_ACCESS_DENIED
/// otherwise), with its values.
ZQPLATFORM_API LSTATUS RegDeleteKeyW(HKEY key, const WCHAR* subKey);
/// Deletes `subKey` and everything below it; with a null `subKey`, the
/// subkeys and values of `key` itself, which stays.
ZQPLATFORM_API LSTATUS RegDeleteTreeW(HKEY key, const WCHAR* subKey);
/// The name of the `index`th subkey, in the order of names without regard to
/// case; ERROR_NO_MORE_ITEMS past the last. `*nameLength` holds the buffer's
/// size in characters on entry and the name's length (without NUL) on
/// return; ERROR_MORE_DATA if the name and its NUL don't fit. Through
/// HKEY_CLASSES_ROOT, the union of both hives' subkeys.
ZQPLATFORM_API LSTATUS RegEnumKeyExW(HKEY key, DWORD index, WCHAR* name, DWORD* nameLength, DWORD* reserved,
                                     WCHAR* keyClass, DWORD* keyClassLength, FILETIME* lastWriteTime);
}
