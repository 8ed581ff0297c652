// The code page of a language, from the system's locale data.
#include "system/SystemCalls.h"
#include "zqplatform/text.h"

extern "C" {

UINT ZQGetLocaleCodePage(const WCHAR* localeName) {
    return zqplatform::win32::SystemLocaleCodePage(localeName);
}

}  // extern "C"
