// Windows and message queues: process-wide window classes, windows owned by
// the thread that made them, and one message queue per thread.
//
// A window belongs to its creating thread: only that thread destroys it and
// runs its window procedure. Any thread may post to it; the message waits in
// the owner's queue until the owner pumps. A destroyed window, or one whose
// thread has ended, never receives a message again: its pending messages are
// dropped and its handle goes stale (handles carry a generation, so a stale
// handle never names a newer window). When a thread ends, its windows are
// destroyed on that thread, with WM_DESTROY and WM_NCDESTROY as DestroyWindow
// sends them, and its queue is freed.
#pragma once

#include "zqplatform/status.h"
#include "zqplatform/types.h"

struct HICON__;
struct HCURSOR__;
struct HBRUSH__;
struct HMENU__;
using HICON = HICON__*;
using HCURSOR = HCURSOR__*;
using HBRUSH = HBRUSH__*;
using HMENU = HMENU__*;
using ATOM = WORD;

using WNDPROC = LRESULT (*)(HWND, UINT, WPARAM, LPARAM);

/// The usual window class record. Style, extra bytes, icon, cursor, brush and
/// menu are kept and given back by GetClassInfoW but have no effect here.
struct WNDCLASSW {
    UINT style;
    WNDPROC lpfnWndProc;
    int cbClsExtra;
    int cbWndExtra;
    HINSTANCE hInstance;
    HICON hIcon;
    HCURSOR hCursor;
    HBRUSH hbrBackground;
    LPCWSTR lpszMenuName;
    LPCWSTR lpszClassName;
};

/// What WM_NCCREATE and WM_CREATE carry in lParam: the arguments of
/// CreateWindowExW, usual layout.
struct CREATESTRUCTW {
    LPVOID lpCreateParams;
    HINSTANCE hInstance;
    HMENU hMenu;
    HWND hwndParent;
    int cy;
    int cx;
    int y;
    int x;
    LONG style;
    LPCWSTR lpszName;
    LPCWSTR lpszClass;
    DWORD dwExStyle;
};

/// A queued message, usual layout. `time` is the low 32 bits of the
/// monotonic millisecond clock at the post; `pt` is always (0, 0).
struct MSG {
    HWND hwnd;
    UINT message;
    WPARAM wParam;
    LPARAM lParam;
    DWORD time;
    POINT pt;
};

static_assert(sizeof(MSG) == 48);
static_assert(sizeof(WNDCLASSW) == 72);

inline constexpr UINT WM_NULL = 0x0000;
inline constexpr UINT WM_CREATE = 0x0001;
inline constexpr UINT WM_DESTROY = 0x0002;
inline constexpr UINT WM_CLOSE = 0x0010;
inline constexpr UINT WM_QUIT = 0x0012;
inline constexpr UINT WM_NCCREATE = 0x0081;
inline constexpr UINT WM_NCDESTROY = 0x0082;
inline constexpr UINT WM_USER = 0x0400;
inline constexpr UINT WM_APP = 0x8000;

/// The input messages: keyboard WM_KEYDOWN (0x100) to WM_UNICHAR (0x109),
/// mouse WM_MOUSEMOVE (0x200) to WM_MOUSEHWHEEL (0x20E).
inline constexpr UINT WM_KEYFIRST = 0x0100;
inline constexpr UINT WM_KEYLAST = 0x0109;
inline constexpr UINT WM_MOUSEFIRST = 0x0200;
inline constexpr UINT WM_MOUSELAST = 0x020E;

/// ShowWindow commands, as IPropertyPage::Show passes them on.
inline constexpr int SW_HIDE = 0;
inline constexpr int SW_SHOWNORMAL = 1;
inline constexpr int SW_SHOW = 5;

/// Dialog results and message box flags.
inline constexpr int IDOK = 1;
inline constexpr int IDCANCEL = 2;
inline constexpr UINT MB_OK = 0x00000000;
inline constexpr UINT MB_ICONEXCLAMATION = 0x00000030;

inline constexpr UINT PM_NOREMOVE = 0x0000;
inline constexpr UINT PM_REMOVE = 0x0001;
/// Accepted and ignored: there is nothing to yield to.
inline constexpr UINT PM_NOYIELD = 0x0002;

inline constexpr int CW_USEDEFAULT = static_cast<int>(0x80000000u);

inline constexpr int GWLP_WNDPROC = -4;
inline constexpr int GWLP_HINSTANCE = -6;
inline constexpr int GWLP_USERDATA = -21;

/// The message filter of PeekMessageW and GetMessageW that takes only thread
/// messages (those posted with a null window or by PostThreadMessageW).
inline HWND const ZQ_HWND_THREAD_MESSAGES = reinterpret_cast<HWND>(static_cast<intptr_t>(-1));


extern "C" {
/// Registers a class for (name, instance); names compare without regard to
/// ASCII case. An atom (non-zero) on success; 0 with ERROR_INVALID_PARAMETER
/// for a null record, procedure or name, or ERROR_CLASS_ALREADY_EXISTS.
ZQPLATFORM_API ATOM RegisterClassW(const WNDCLASSW* windowClass);
/// Copies the class record of (name, instance) into `windowClass`, with
/// lpszClassName set to `className`. FALSE with ERROR_CLASS_DOES_NOT_EXIST.
ZQPLATFORM_API BOOL GetClassInfoW(HINSTANCE instance, LPCWSTR className, WNDCLASSW* windowClass);
/// Removes a class. FALSE with ERROR_CLASS_DOES_NOT_EXIST, or with
/// ERROR_CLASS_HAS_WINDOWS while any window of the class lives.
ZQPLATFORM_API BOOL UnregisterClassW(LPCWSTR className, HINSTANCE instance);

/// Makes a window of the class (name, instance) owned by the calling thread.
/// Sends WM_NCCREATE (FALSE ends the creation) and WM_CREATE (-1 ends it)
/// with a CREATESTRUCTW. Positions, sizes (CW_USEDEFAULT included) and
/// styles are kept for nobody: no window is ever shown. Null on failure:
/// ERROR_CLASS_DOES_NOT_EXIST, ERROR_INVALID_WINDOW_HANDLE for a parent that
/// isn't a window, ERROR_NOT_ENOUGH_MEMORY.
ZQPLATFORM_API HWND CreateWindowExW(DWORD exStyle, LPCWSTR className, LPCWSTR windowName, DWORD style, int x, int y,
                                    int width, int height, HWND parent, HMENU menu, HINSTANCE instance,
                                    LPVOID param);
/// Destroys a window of the calling thread: sends WM_DESTROY and
/// WM_NCDESTROY, drops its pending messages and makes its handle stale.
/// FALSE with ERROR_INVALID_WINDOW_HANDLE for a stale handle, or with
/// ERROR_ACCESS_DENIED when called from a thread other than the owner (the
/// owner must end it, for example on a message of its own). A second call
/// during the window's own WM_DESTROY or WM_NCDESTROY answers TRUE.
ZQPLATFORM_API BOOL DestroyWindow(HWND window);
/// TRUE while the handle names a live window, from any thread.
ZQPLATFORM_API BOOL IsWindow(HWND window);
/// The owning thread's id, and the process id through `processId` if it is
/// not null; 0 with ERROR_INVALID_WINDOW_HANDLE for a stale handle.
ZQPLATFORM_API DWORD GetWindowThreadProcessId(HWND window, DWORD* processId);
/// GWLP_USERDATA, GWLP_WNDPROC or GWLP_HINSTANCE of a window, from any
/// thread. 0 with ERROR_INVALID_WINDOW_HANDLE or ERROR_INVALID_INDEX; a
/// stored 0 leaves the last error as it was.
ZQPLATFORM_API LONG_PTR GetWindowLongPtrW(HWND window, int index);
/// Stores GWLP_USERDATA or GWLP_WNDPROC (a null procedure is refused with
/// ERROR_INVALID_PARAMETER) and answers the value before; from any thread.
/// Failures as GetWindowLongPtrW.
ZQPLATFORM_API LONG_PTR SetWindowLongPtrW(HWND window, int index, LONG_PTR value);
/// The default answer of a window procedure: TRUE for WM_NCCREATE,
/// DestroyWindow for WM_CLOSE, 0 for everything else.
ZQPLATFORM_API LRESULT DefWindowProcW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
/// Calls the window procedure at once. Only the owner thread may send: from
/// another thread the answer is 0 with ERROR_NOT_SUPPORTED (cross-thread
/// sends would need the owner to pump while the sender waits, which nothing
/// here requires). 0 with ERROR_INVALID_WINDOW_HANDLE for a stale handle.
ZQPLATFORM_API LRESULT SendMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

/// Appends a message to the queue of the window's owner thread; any thread
/// may post. A null window posts a thread message to the calling thread.
/// FALSE with ERROR_INVALID_WINDOW_HANDLE for a stale handle (a destroyed
/// window, or one whose thread ended), ERROR_NOT_ENOUGH_MEMORY.
ZQPLATFORM_API BOOL PostMessageW(HWND window, UINT message, WPARAM wParam, LPARAM lParam);
/// Appends a thread message (null window) to the queue of a thread. FALSE
/// with ERROR_INVALID_THREAD_ID when the thread has no queue: it never used
/// a window or message function, or it has ended.
ZQPLATFORM_API BOOL PostThreadMessageW(DWORD threadId, UINT message, WPARAM wParam, LPARAM lParam);
/// Posts WM_QUIT with the exit code to the calling thread, after the
/// messages already queued.
ZQPLATFORM_API void PostQuitMessage(int exitCode);
/// Looks for the first queued message of the calling thread that passes the
/// filter, without waiting: `window` null takes any, ZQ_HWND_THREAD_MESSAGES
/// only thread messages, else that window's; the range [min, max] limits the
/// message number unless both are 0. PM_REMOVE takes it out, PM_NOREMOVE
/// leaves it. TRUE when one was found, else FALSE with `message` untouched.
ZQPLATFORM_API BOOL PeekMessageW(MSG* message, HWND window, UINT filterMin, UINT filterMax, UINT removeFlags);
/// Waits for and removes the first message that passes the filter (as
/// PeekMessageW). 0 for WM_QUIT, -1 with ERROR_INVALID_PARAMETER for a null
/// `message`, else non-zero.
ZQPLATFORM_API BOOL GetMessageW(MSG* message, HWND window, UINT filterMin, UINT filterMax);
/// Calls the procedure of the message's window and answers its result. A
/// thread message, or one whose window has gone meanwhile, is dropped (0);
/// a window of another thread gets 0 with ERROR_ACCESS_DENIED.
ZQPLATFORM_API LRESULT DispatchMessageW(const MSG* message);
#if !defined(_WIN32)
/// A file descriptor of the calling thread's queue that polls readable
/// exactly while a message is queued (level-triggered), so that a GLib, Qt,
/// libuv or epoll loop can wake and call PeekMessageW/DispatchMessageW. Owned
/// by the queue: don't read, write or close it. Valid until the thread ends.
/// -1 with the last error set on failure.
ZQPLATFORM_API int ZQGetMessageQueueFd();
#endif  // Windows' own loops wait on the queue itself (MsgWaitForMultipleObjects)
}
