// Whether a standard stream is a terminal, where a program may draw progress.
#include "system/SystemCalls.h"
#include "zqplatform/fileapi.h"

extern "C" {

BOOL ZQIsTerminal(DWORD stdHandle) {
    if (stdHandle != STD_INPUT_HANDLE && stdHandle != STD_OUTPUT_HANDLE && stdHandle != STD_ERROR_HANDLE)
        return FALSE;
    return zqplatform::win32::SystemIsConsole(stdHandle) ? TRUE : FALSE;
}

}  // extern "C"
