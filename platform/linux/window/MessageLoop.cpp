// Posting, pumping and dispatching messages, and the queue's file descriptor.
#include "window/WindowManager.h"
#include "zqplatform/sync.h"
#include "zqplatform/winuser.h"

using zqplatform::WindowManager;

namespace {

MSG MakeMessage(HWND window, UINT message, WPARAM wParam, LPARAM lParam) noexcept {
    MSG made{};
    made.hwnd = window;
    made.message = message;
    made.wParam = wParam;
    made.lParam = lParam;
    made.time = static_cast<DWORD>(GetTickCount64());
    return made;
}

}  // namespace

extern "C" {

BOOL PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    MSG posted = MakeMessage(window, message, wParam, lParam);
    if (window != nullptr)
        return WindowManager::Get().PostToWindow(posted) ? TRUE : FALSE;
    auto queue = WindowManager::Get().CurrentQueue();
    return queue && queue->Post(posted) ? TRUE : FALSE;
}

BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam) {
    MSG posted = MakeMessage(nullptr, message, wParam, lParam);
    return WindowManager::Get().PostToThread(threadId, posted) ? TRUE : FALSE;
}

void PostQuitMessage(int exitCode) {
    PostMessageW(nullptr, WM_QUIT, static_cast<WPARAM>(static_cast<intptr_t>(exitCode)), 0);
}

BOOL PeekMessageW(MSG* message, HWND window, UINT filterMin, UINT filterMax, UINT removeFlags) {
    if (message == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return FALSE;
    }
    auto queue = WindowManager::Get().CurrentQueue();
    if (!queue)
        return FALSE;
    return queue->Peek(message, window, filterMin, filterMax, (removeFlags & PM_REMOVE) != 0) ? TRUE : FALSE;
}

BOOL GetMessageW(MSG* message, HWND window, UINT filterMin, UINT filterMax) {
    if (message == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return -1;
    }
    auto queue = WindowManager::Get().CurrentQueue();
    if (!queue)
        return -1;
    queue->Wait(message, window, filterMin, filterMax);
    return message->message == WM_QUIT ? FALSE : TRUE;
}

LRESULT DispatchMessageW(const MSG* message) {
    if (message == nullptr) {
        SetLastError(ERROR_INVALID_PARAMETER);
        return 0;
    }
    // Thread messages have no procedure to go to.
    if (message->hwnd == nullptr)
        return 0;
    // The procedure is looked up now: a window destroyed since the message
    // was taken out drops it here, and nothing of a freed window is touched.
    WNDPROC procedure = WindowManager::Get().GetOwnProcedure(message->hwnd);
    if (procedure == nullptr)
        return 0;
    return procedure(message->hwnd, message->message, message->wParam, message->lParam);
}

int ZQGetMessageQueueFd() {
    auto queue = WindowManager::Get().CurrentQueue();
    if (!queue)
        return -1;
    return queue->GetFd();
}

}  // extern "C"
