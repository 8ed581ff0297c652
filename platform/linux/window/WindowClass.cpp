// Window classes: process-wide, keyed by name and instance.
#include "window/WindowManager.h"
#include "zqplatform/winuser.h"

using zqplatform::WindowManager;

extern "C" {

ATOM RegisterClassW(const WNDCLASSW* windowClass) {
    if (windowClass == nullptr || windowClass->lpfnWndProc == nullptr || windowClass->lpszClassName == nullptr ||
        windowClass->lpszClassName[0] == 0) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    return WindowManager::Get().RegisterClass(*windowClass);
}

BOOL GetClassInfoW(HINSTANCE instance, LPCWSTR className, WNDCLASSW* windowClass) {
    if (className == nullptr || windowClass == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return WindowManager::Get().GetClassInfo(instance, className, windowClass) ? TRUE : FALSE;
}

BOOL UnregisterClassW(LPCWSTR className, HINSTANCE instance) {
    if (className == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    return WindowManager::Get().UnregisterClass(className, instance) ? TRUE : FALSE;
}

}  // extern "C"
