#include "window/WindowManager.h"

#include <algorithm>
#include <mutex>
#include <new>

#include "zqplatform/sync.h"

namespace zqplatform {

namespace {

constexpr uint32_t kMaxGeneration = 0x7FFFFFFFu;
// Window procedures that make new windows while their thread ends get this
// many rounds of clean-up; what is left after that is a program's bug.
constexpr int kMaxEndRounds = 16;

char16_t FoldAscii(char16_t c) noexcept {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c;
}

/// Class names compare as the original platform's do: without regard to case
/// (ASCII letters here, which is all any class name of ours uses).
bool SameClassName(const std::u16string& name, LPCWSTR other) noexcept {
    size_t i = 0;
    for (; i < name.size(); ++i) {
        if (other[i] == 0 || FoldAscii(name[i]) != FoldAscii(other[i]))
            return false;
    }
    return other[i] == 0;
}

/// A menu name is either text or a small resource number in pointer form.
bool IsText(LPCWSTR name) noexcept {
    return reinterpret_cast<uintptr_t>(name) > 0xFFFF;
}

/// The calling thread's queue, ended with the thread.
class ThreadQueue {
public:
    ThreadQueue() noexcept = default;
    ThreadQueue(const ThreadQueue&) = delete;
    ThreadQueue& operator=(const ThreadQueue&) = delete;

    ~ThreadQueue() {
        m_ending = true;
        if (!m_queue)
            return;
        WindowManager::Get().EndThread(m_queue);
        m_queue.reset();
    }

    std::shared_ptr<MessageQueue> m_queue;
    bool m_ending = false;
};

thread_local ThreadQueue t_threadQueue;

}  // namespace

WindowManager& WindowManager::Get() noexcept {
    // Never destroyed: a thread may end, and clean up its windows, after the
    // static objects of this library are gone.
    static WindowManager* const s_manager = new WindowManager();
    return *s_manager;
}

std::shared_ptr<MessageQueue> WindowManager::CurrentQueue() noexcept {
    ThreadQueue& thread = t_threadQueue;
    if (thread.m_queue)
        return thread.m_queue;
    if (thread.m_ending) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return nullptr;
    }
    try {
        auto queue = std::make_shared<MessageQueue>(GetCurrentThreadId());
        std::unique_lock lock(m_lock);
        m_queues[queue->GetThreadId()] = queue;
        thread.m_queue = std::move(queue);
        return thread.m_queue;
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

ATOM WindowManager::RegisterClass(const WNDCLASSW& windowClass) noexcept {
    std::unique_lock lock(m_lock);
    if (FindClassLocked(windowClass.lpszClassName, windowClass.hInstance) != nullptr) {
        SetLastError(ERROR_CLASS_ALREADY_EXISTS);
        return 0;
    }
    try {
        auto record = std::make_unique<ClassRecord>();
        record->name = windowClass.lpszClassName;
        record->info = windowClass;
        record->info.lpszClassName = nullptr;
        if (IsText(windowClass.lpszMenuName))
            record->menuName = windowClass.lpszMenuName;
        record->atom = m_nextAtom;
        m_nextAtom = m_nextAtom == 0xFFFF ? ATOM{0xC000} : static_cast<ATOM>(m_nextAtom + 1);
        m_classes.push_back(std::move(record));
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return 0;
    }
    return m_classes.back()->atom;
}

bool WindowManager::GetClassInfo(HINSTANCE instance, LPCWSTR className, WNDCLASSW* windowClass) noexcept {
    std::shared_lock lock(m_lock);
    const ClassRecord* record = FindClassLocked(className, instance);
    if (record == nullptr) {
        SetLastError(ERROR_CLASS_DOES_NOT_EXIST);
        return false;
    }
    *windowClass = record->info;
    if (IsText(record->info.lpszMenuName))
        windowClass->lpszMenuName = record->menuName.c_str();
    windowClass->lpszClassName = className;
    return true;
}

bool WindowManager::UnregisterClass(LPCWSTR className, HINSTANCE instance) noexcept {
    std::unique_lock lock(m_lock);
    ClassRecord* record = FindClassLocked(className, instance);
    if (record == nullptr) {
        SetLastError(ERROR_CLASS_DOES_NOT_EXIST);
        return false;
    }
    // Windows point at their class; a class goes only after its last window.
    if (record->windows != 0) {
        SetLastError(ERROR_CLASS_HAS_WINDOWS);
        return false;
    }
    std::erase_if(m_classes, [record](const auto& held) { return held.get() == record; });
    return true;
}

HWND WindowManager::AddWindow(LPCWSTR className, HINSTANCE instance, HWND parent) noexcept {
    std::shared_ptr<MessageQueue> queue = CurrentQueue();
    if (!queue)
        return nullptr;
    std::unique_lock lock(m_lock);
    ClassRecord* windowClass = FindClassLocked(className, instance);
    if (windowClass == nullptr) {
        SetLastError(ERROR_CLASS_DOES_NOT_EXIST);
        return nullptr;
    }
    if (parent != nullptr && FindLocked(parent) == nullptr) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return nullptr;
    }
    try {
        auto record = std::make_unique<WindowRecord>();
        record->windowClass = windowClass;
        record->instance = instance;
        record->threadId = queue->GetThreadId();
        record->queue = std::move(queue);
        record->procedure.store(windowClass->info.lpfnWndProc, std::memory_order_relaxed);
        size_t index = m_slots.size();
        if (m_freeSlots.empty()) {
            m_slots.emplace_back();
            m_freeSlots.reserve(m_slots.size());
        } else {
            index = m_freeSlots.back();
            m_freeSlots.pop_back();
        }
        m_slots[index].window = std::move(record);
        ++windowClass->windows;
        return MakeHandle(index, m_slots[index].generation);
    } catch (const std::bad_alloc&) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
}

bool WindowManager::DestroyWindow(HWND window) noexcept {
    {
        std::shared_lock lock(m_lock);
        WindowRecord* record = FindLocked(window);
        if (record == nullptr) {
            SetLastError(ERROR_INVALID_WINDOW_HANDLE);
            return false;
        }
        if (record->threadId != GetCurrentThreadId()) {
            SetLastError(ERROR_ACCESS_DENIED);
            return false;
        }
        // A procedure that destroys its own window while it hears of its
        // destruction: the destruction under way is all there is to do.
        if (record->destroying)
            return true;
        record->destroying = true;
    }
    // Only this thread destroys the window, so it is still there for both
    // messages even though the lock is let go while its procedure runs.
    if (WNDPROC procedure = GetOwnProcedure(window))
        procedure(window, WM_DESTROY, 0, 0);
    if (WNDPROC procedure = GetOwnProcedure(window))
        procedure(window, WM_NCDESTROY, 0, 0);
    std::unique_lock lock(m_lock);
    RemoveWindowLocked(window);
    return true;
}

WNDPROC WindowManager::GetOwnProcedure(HWND window) noexcept {
    std::shared_lock lock(m_lock);
    const WindowRecord* record = FindLocked(window);
    if (record == nullptr) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return nullptr;
    }
    if (record->threadId != GetCurrentThreadId()) {
        SetLastError(ERROR_ACCESS_DENIED);
        return nullptr;
    }
    return record->procedure.load(std::memory_order_acquire);
}

DWORD WindowManager::GetOwnerThread(HWND window) noexcept {
    std::shared_lock lock(m_lock);
    const WindowRecord* record = FindLocked(window);
    if (record == nullptr) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    return record->threadId;
}

LONG_PTR WindowManager::GetLong(HWND window, int index) noexcept {
    std::shared_lock lock(m_lock);
    const WindowRecord* record = FindLocked(window);
    if (record == nullptr) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    switch (index) {
    case GWLP_USERDATA:
        return record->userData.load(std::memory_order_acquire);
    case GWLP_WNDPROC:
        return reinterpret_cast<LONG_PTR>(record->procedure.load(std::memory_order_acquire));
    case GWLP_HINSTANCE:
        return reinterpret_cast<LONG_PTR>(record->instance);
    default:
        SetLastError(ERROR_INVALID_INDEX);
        return 0;
    }
}

LONG_PTR WindowManager::SetLong(HWND window, int index, LONG_PTR value) noexcept {
    std::shared_lock lock(m_lock);
    WindowRecord* record = FindLocked(window);
    if (record == nullptr) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return 0;
    }
    switch (index) {
    case GWLP_USERDATA:
        return record->userData.exchange(value, std::memory_order_acq_rel);
    case GWLP_WNDPROC:
        if (value == 0) {
            SetLastError(ERROR_INVALID_PARAMETER);
            return 0;
        }
        return reinterpret_cast<LONG_PTR>(
            record->procedure.exchange(reinterpret_cast<WNDPROC>(value), std::memory_order_acq_rel));
    default:
        SetLastError(ERROR_INVALID_INDEX);
        return 0;
    }
}

bool WindowManager::PostToWindow(const MSG& message) noexcept {
    std::shared_lock lock(m_lock);
    const WindowRecord* record = FindLocked(message.hwnd);
    if (record == nullptr) {
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
        return false;
    }
    if (record->queue->Post(message))
        return true;
    // A queue closes only when its thread ends; to the poster the window is
    // as good as gone.
    if (GetLastError() == ERROR_INVALID_THREAD_ID)
        SetLastError(ERROR_INVALID_WINDOW_HANDLE);
    return false;
}

bool WindowManager::PostToThread(DWORD threadId, const MSG& message) noexcept {
    std::shared_lock lock(m_lock);
    auto found = m_queues.find(threadId);
    if (found == m_queues.end()) {
        SetLastError(ERROR_INVALID_THREAD_ID);
        return false;
    }
    return found->second->Post(message);
}

void WindowManager::EndThread(const std::shared_ptr<MessageQueue>& queue) noexcept {
    const DWORD threadId = queue->GetThreadId();
    for (int round = 0; round < kMaxEndRounds; ++round) {
        std::vector<HWND> owned;
        try {
            std::shared_lock lock(m_lock);
            for (size_t index = 0; index < m_slots.size(); ++index) {
                const WindowRecord* record = m_slots[index].window.get();
                if (record != nullptr && record->threadId == threadId && !record->destroying)
                    owned.push_back(MakeHandle(index, m_slots[index].generation));
            }
        } catch (const std::bad_alloc&) {
            break;
        }
        if (owned.empty())
            break;
        for (HWND window : owned)
            DestroyWindow(window);
    }
    {
        std::unique_lock lock(m_lock);
        auto found = m_queues.find(threadId);
        if (found != m_queues.end() && found->second == queue)
            m_queues.erase(found);
    }
    queue->Close();
}

HWND WindowManager::MakeHandle(size_t index, uint32_t generation) noexcept {
    uint64_t value = (static_cast<uint64_t>(generation) << 32) | (static_cast<uint64_t>(index) + 1);
    return reinterpret_cast<HWND>(static_cast<uintptr_t>(value));
}

WindowManager::WindowRecord* WindowManager::FindLocked(HWND window) const noexcept {
    uint64_t value = reinterpret_cast<uintptr_t>(window);
    uint64_t index = (value & 0xFFFFFFFFu);
    uint32_t generation = static_cast<uint32_t>(value >> 32);
    if (index == 0 || index > m_slots.size())
        return nullptr;
    const Slot& slot = m_slots[index - 1];
    if (slot.generation != generation)
        return nullptr;
    return slot.window.get();
}

WindowManager::ClassRecord* WindowManager::FindClassLocked(LPCWSTR className, HINSTANCE instance) const noexcept {
    for (const auto& record : m_classes) {
        if (record->info.hInstance == instance && SameClassName(record->name, className))
            return record.get();
    }
    return nullptr;
}

void WindowManager::RemoveWindowLocked(HWND window) noexcept {
    WindowRecord* record = FindLocked(window);
    if (record == nullptr)
        return;
    record->queue->RemoveWindowMessages(window);
    --record->windowClass->windows;
    size_t index = (reinterpret_cast<uintptr_t>(window) & 0xFFFFFFFFu) - 1;
    Slot& slot = m_slots[index];
    slot.window.reset();
    slot.generation = slot.generation == kMaxGeneration ? 1 : slot.generation + 1;
    // The free list never needs more room than the table has slots, which
    // it was given when the slot was made.
    try {
        m_freeSlots.push_back(static_cast<uint32_t>(index));
    } catch (const std::bad_alloc&) {
    }
}

}  // namespace zqplatform
