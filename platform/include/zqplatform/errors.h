// The text of a status, as the media framework gives it.
#pragma once

#include "zqplatform/types.h"

extern "C" {
/// Copies the text of `hr` (as ZQGetStatusText: English, every status has
/// one, unknown ones name their number) into `buffer`, cut to `maxLength` - 1
/// units and NUL-terminated. Answers the units copied without the NUL; 0 for
/// a null `buffer` or a `maxLength` of 0.
ZQPLATFORM_API DWORD AMGetErrorTextW(HRESULT hr, WCHAR* buffer, DWORD maxLength);
}
