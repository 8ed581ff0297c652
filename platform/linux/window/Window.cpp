// Windows: creation, destruction, identity, long values and the default
// procedure.
#include "window/WindowManager.h"
#include "zqplatform/sync.h"
#include "zqplatform/winuser.h"

using zqplatform::WindowManager;

namespace {

/// Sends a creation message; a window destroyed by its own procedure
/// meanwhile reads as a refusal.
LRESULT SendCreationMessage(HWND window, UINT message, CREATESTRUCTW* create) {
    WNDPROC procedure = WindowManager::Get().GetOwnProcedure(window);
    if (procedure == nullptr)
        return -1;
    return procedure(window, message, 0, reinterpret_cast<LPARAM>(create));
}

}  // namespace

extern "C" {

HWND CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, int y, int width,
                     int height, HWND parent, HMENU menu, HINSTANCE instance, LPVOID param) {
    if (className == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    HWND window = WindowManager::Get().AddWindow(className, instance, parent);
    if (window == nullptr)
        return nullptr;
    CREATESTRUCTW create{param,  instance, menu, parent, height, width, y, x, static_cast<LONG>(style), windowName,
                         className, exStyle};
    LRESULT created = SendCreationMessage(window, WM_NCCREATE, &create);
    if (created != 0 && created != -1)
        created = SendCreationMessage(window, WM_CREATE, &create) == -1 ? 0 : 1;
    else
        created = 0;
    if (created == 0) {
        DestroyWindow(window);
        return nullptr;
    }
    return window;
}

BOOL DestroyWindow(HWND window) {
    return WindowManager::Get().DestroyWindow(window) ? TRUE : FALSE;
}

BOOL IsWindow(HWND window) {
    DWORD saved = GetLastError();
    BOOL alive = WindowManager::Get().GetOwnerThread(window) != 0 ? TRUE : FALSE;
    // A question, not a failure: the caller's last error stays.
    SetLastError(saved);
    return alive;
}

DWORD GetWindowThreadProcessId(HWND window, DWORD* processId) {
    DWORD threadId = WindowManager::Get().GetOwnerThread(window);
    if (threadId != 0 && processId != nullptr)
        *processId = GetCurrentProcessId();
    return threadId;
}

LONG_PTR GetWindowLongPtrW(HWND window, int index) {
    return WindowManager::Get().GetLong(window, index);
}

LONG_PTR SetWindowLongPtrW(HWND window, int index, LONG_PTR value) {
    return WindowManager::Get().SetLong(window, index, value);
}

LRESULT DefWindowProcW(HWND window, UINT message, WPARAM, LPARAM) {
    switch (message) {
    case WM_NCCREATE:
        return TRUE;
    case WM_CLOSE:
        DestroyWindow(window);
        return 0;
    default:
        return 0;
    }
}

LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    WNDPROC procedure = WindowManager::Get().GetOwnProcedure(window);
    if (procedure == nullptr) {
        if (GetLastError() == ERROR_ACCESS_DENIED)
            SetLastError(ERROR_NOT_SUPPORTED);
        return 0;
    }
    return procedure(window, message, wParam, lParam);
}

}  // extern "C"
