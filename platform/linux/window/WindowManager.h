// The process-wide table of window classes, windows and thread queues.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "window/MessageQueue.h"
#include "zqplatform/winuser.h"

namespace zqplatform {

/// Window classes, windows and the queues of threads, for the whole process.
/// One instance, made on first use and never destroyed, so that threads that
/// end during process exit still find it. Any thread may call any method;
/// the methods that run window procedures do so with no lock held, and the
/// ones that must run on the owner thread say so.
class WindowManager {
public:
    static WindowManager& Get() noexcept;

    WindowManager(const WindowManager&) = delete;
    WindowManager& operator=(const WindowManager&) = delete;

    /// The calling thread's queue, made and entered in the table on first
    /// use. Null with the last error set without memory or once the thread
    /// is ending.
    std::shared_ptr<MessageQueue> CurrentQueue() noexcept;

    ATOM RegisterClass(const WNDCLASSW& windowClass) noexcept;
    bool GetClassInfo(HINSTANCE instance, LPCWSTR className, WNDCLASSW* windowClass) noexcept;
    bool UnregisterClass(LPCWSTR className, HINSTANCE instance) noexcept;

    /// Enters a window of the class, owned by the calling thread, and gives
    /// its procedure; no message is sent yet. Null with the last error set.
    HWND AddWindow(LPCWSTR className, HINSTANCE instance, HWND parent) noexcept;

    /// Destroys a window of the calling thread: WM_DESTROY, WM_NCDESTROY,
    /// then its messages go and its handle goes stale.
    bool DestroyWindow(HWND window) noexcept;

    /// The procedure of a window of the calling thread, read at the moment of
    /// the call so that a window destroyed meanwhile is never called. Null
    /// with ERROR_INVALID_WINDOW_HANDLE, or ERROR_ACCESS_DENIED for a window
    /// of another thread.
    WNDPROC GetOwnProcedure(HWND window) noexcept;

    /// The owner thread's id, 0 with ERROR_INVALID_WINDOW_HANDLE.
    DWORD GetOwnerThread(HWND window) noexcept;

    LONG_PTR GetLong(HWND window, int index) noexcept;
    LONG_PTR SetLong(HWND window, int index, LONG_PTR value) noexcept;

    /// Appends a message to the queue of the owner of `message.hwnd`.
    bool PostToWindow(const MSG& message) noexcept;
    /// Appends a thread message to the queue of a thread.
    bool PostToThread(DWORD threadId, const MSG& message) noexcept;

    /// Runs on a thread that ends: destroys its windows, takes its queue
    /// out of the table and closes it.
    void EndThread(const std::shared_ptr<MessageQueue>& queue) noexcept;

private:
    struct ClassRecord {
        std::u16string name;
        std::u16string menuName;
        WNDCLASSW info{};
        ATOM atom = 0;
        size_t windows = 0;
    };

    struct WindowRecord {
        ClassRecord* windowClass = nullptr;
        HINSTANCE instance = nullptr;
        DWORD threadId = 0;
        std::shared_ptr<MessageQueue> queue;
        std::atomic<WNDPROC> procedure{nullptr};
        std::atomic<LONG_PTR> userData{0};
        // Touched only by the owner thread.
        bool destroying = false;
    };

    /// A handle slot; the generation moves on each time the slot's window
    /// goes, so an old handle never matches the slot's next window.
    struct Slot {
        uint32_t generation = 1;
        std::unique_ptr<WindowRecord> window;
    };

    WindowManager() = default;
    ~WindowManager() = default;

    static HWND MakeHandle(size_t index, uint32_t generation) noexcept;
    /// The live window of a handle, or null; m_lock held (either way).
    WindowRecord* FindLocked(HWND window) const noexcept;
    ClassRecord* FindClassLocked(LPCWSTR className, HINSTANCE instance) const noexcept;
    /// Frees a destroyed window's slot and drops its messages; m_lock held
    /// exclusively.
    void RemoveWindowLocked(HWND window) noexcept;

    // Guards every field below. A post holds it shared while it appends to a
    // queue and a destruction holds it exclusively while it drops the
    // window's messages, so no message of a window can enter its queue after
    // the window is gone. Taken before a queue's own lock; never held while a
    // window procedure runs.
    mutable std::shared_mutex m_lock;
    std::vector<std::unique_ptr<ClassRecord>> m_classes;
    std::vector<Slot> m_slots;
    std::vector<uint32_t> m_freeSlots;
    std::unordered_map<DWORD, std::shared_ptr<MessageQueue>> m_queues;
    ATOM m_nextAtom = 0xC000;
};

}  // namespace zqplatform
