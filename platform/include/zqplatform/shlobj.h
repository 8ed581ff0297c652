// Known folders of the user.
#pragma once

#include "zqplatform/fileapi.h"
#include "zqplatform/status.h"
#include "zqplatform/types.h"

/// The user's own folder: $HOME, else the home of the user's account.
inline constexpr int CSIDL_PROFILE = 0x0028;
inline constexpr DWORD SHGFP_TYPE_CURRENT = 0;

extern "C" {
/// Writes the folder `csidl` (CSIDL_PROFILE only), without a trailing slash
/// and NUL-terminated, into `path`, which holds MAX_PATH units. `owner`,
/// `token` and `flags` are ignored. E_POINTER for a null `path`;
/// E_INVALIDARG for another folder; E_FAIL when the folder is unknown or
/// doesn't fit, with `path` empty.
ZQPLATFORM_API HRESULT SHGetFolderPathW(HWND owner, int csidl, HANDLE token, DWORD flags, WCHAR* path);
}
