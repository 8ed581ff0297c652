#include "dmx/CZQDmxSubtitleCallback.h"

#include <utility>

#include "dmx/CZQDmxSubtitleCallbackCueEvent.h"
#include "support/CComObjectNoLock.h"
#include "support/CStatusException.h"
#include "support/CZQSubtitleModule.h"
#include "zqplatform/sync.h"

namespace {

// How a hidden window finds its dispatcher.
//
// A message 2024 may still wait in a queue when its dispatcher is reset or
// deleted on another thread, so the window procedure never trusts the
// message's lParam. It reads the window's user data instead, under
// s_windowLinkLock, and takes a reference only if the dispatcher's count
// hasn't reached 0. The dispatcher clears the user data under the same lock
// before it lets go of the window, and its memory lasts at least until then,
// so the procedure either gets a live dispatcher with a reference or nothing.
//
// A window whose dispatcher was reset on a foreign thread can't be destroyed
// there: only its own thread may. Its user data then reads kOrphanedWindow,
// message 2025 asks its thread to destroy it, and until it is gone it holds
// one module lock, so that the module (and this procedure with it) isn't
// unloaded under a window that its thread has yet to end. WM_NCDESTROY gives
// the lock back, whether the window ends on 2025 or with its thread.
constexpr LONG_PTR kOrphanedWindow = 1;

// Guards the user data of every hidden window of this module. Taken after a
// dispatcher's lock; nothing is called with it held but the platform's
// window functions.
std::mutex s_windowLinkLock;

/// The instance under which this copy of the module registers its class: the
/// address of a byte of its own, which no other load of the module shares
/// while this one is loaded.
HINSTANCE ModuleInstance() noexcept {
    static const char s_anchor = 0;
    return reinterpret_cast<HINSTANCE>(const_cast<char*>(&s_anchor));
}

/// The hidden window class, registered on first use and unregistered when
/// this copy of the module is unloaded (or the process ends). Tying the class
/// to the load means a module loaded again never finds a class that still
/// points at the window procedure of the load before: the class is either
/// gone or, if a window of the old load outlived it, the old load could not
/// have been unloaded (such a window holds a module lock).
class HiddenWindowClass {
public:
    HiddenWindowClass() noexcept = default;
    HiddenWindowClass(const HiddenWindowClass&) = delete;
    HiddenWindowClass& operator=(const HiddenWindowClass&) = delete;

    ~HiddenWindowClass() { UnregisterClassW(CZQDmxSubtitleCallback::kWindowClassName, ModuleInstance()); }

    /// Registers the class unless it is there. Two threads may race here;
    /// the loser's RegisterClassW fails and the class is there all the same.
    void Ensure() noexcept {
        WNDCLASSW existing{};
        if (GetClassInfoW(ModuleInstance(), CZQDmxSubtitleCallback::kWindowClassName, &existing))
            return;
        WNDCLASSW windowClass{};
        windowClass.lpfnWndProc = CZQDmxSubtitleCallback::WindowProc;
        windowClass.hInstance = ModuleInstance();
        windowClass.lpszClassName = CZQDmxSubtitleCallback::kWindowClassName;
        RegisterClassW(&windowClass);
    }
};

HiddenWindowClass s_hiddenWindowClass;

/// Stores a window's link under the link lock; false when the window is gone.
bool SetWindowLink(HWND window, LONG_PTR link) noexcept {
    std::lock_guard<std::mutex> lock(s_windowLinkLock);
    SetLastError(ERROR_SUCCESS);
    SetWindowLongPtrW(window, GWLP_USERDATA, link);
    return GetLastError() == ERROR_SUCCESS;
}

}  // namespace

HRESULT CZQDmxSubtitleCallback::CreateInstance(CZQDmxSubtitleCallback** out) noexcept {
    if (out == nullptr)
        return E_POINTER;
    *out = nullptr;
    CComObjectNoLock<CZQDmxSubtitleCallback>* object = nullptr;
    HRESULT hr = CComObjectNoLock<CZQDmxSubtitleCallback>::CreateInstance(&object);
    if (FAILED(hr))
        return hr;
    object->AddRef();
    *out = object;
    return S_OK;
}

CZQDmxSubtitleCallback::~CZQDmxSubtitleCallback() {
    Reset();
}

void* CZQDmxSubtitleCallback::GetInterface(REFIID iid) noexcept {
    return ZQFindInterface<IZQDmxSubtitleCallback>(this, iid);
}

HRESULT CZQDmxSubtitleCallback::Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue) {
    return ZQCallWithBarrier([&]() -> HRESULT {
        // Declared before the lock, so that our reference goes after it.
        CComPtr<CZQDmxSubtitleCallbackEvent> event;
        std::unique_lock<std::recursive_mutex> lock(m_Lock);
        // Without a callback there is no window and no one to tell.
        if (m_hWnd == nullptr)
            return S_OK;
        HRESULT hr = CZQDmxSubtitleCallbackCueEvent::Create(cueevent, currenttime, cue, &event);
        if (FAILED(hr))
            return hr;
        hr = m_Queue.Push(event.Get());
        if (FAILED(hr))
            return hr;
        if (GetCurrentThreadId() == m_ThreadId) {
            lock.unlock();
            // The application may drop the last outside reference to this
            // dispatcher from inside its method; ours lasts the drain.
            CComPtr<CZQDmxSubtitleCallback> self(this);
            DispatchEvents();
            return S_OK;
        }
        // A failed post leaves the event queued for the next message or the
        // next Cue on the window's thread.
        PostMessageW(m_hWnd, kEventsPendingMessage, 0, reinterpret_cast<LPARAM>(this));
        return S_OK;
    });
}

HRESULT CZQDmxSubtitleCallback::SetCallback(IZQDmxSubtitleCallback* callback) {
    Reset();
    // Declared before the lock: a callback given back on failure is released
    // after it.
    CComPtr<IZQDmxSubtitleCallback> refused;
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_ThreadId = GetCurrentThreadId();
    m_Callback = callback;
    if (callback == nullptr)
        return S_OK;
    s_hiddenWindowClass.Ensure();
    HWND window = CreateWindowExW(0, kWindowClassName, kWindowName, 0, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT,
                                  CW_USEDEFAULT, nullptr, nullptr, ModuleInstance(), nullptr);
    if (window == nullptr || !SetWindowLink(window, reinterpret_cast<LONG_PTR>(this))) {
        if (window != nullptr)
            DestroyWindow(window);
        refused = std::move(m_Callback);
        m_ThreadId = 0;
        return E_OUTOFMEMORY;
    }
    m_hWnd = window;
    return S_OK;
}

HRESULT CZQDmxSubtitleCallback::GetCallback(IZQDmxSubtitleCallback** out) {
    if (out == nullptr)
        return E_POINTER;
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    if (*out != nullptr)
        return E_POINTER;
    return m_Callback.CopyTo(out);
}

void CZQDmxSubtitleCallback::DispatchEvents() noexcept {
    for (;;) {
        CComPtr<CZQDmxSubtitleCallbackEvent> event;
        CComPtr<IZQDmxSubtitleCallback> callback;
        {
            std::lock_guard<std::recursive_mutex> lock(m_Lock);
            event.Attach(m_Queue.Pop());
            callback = m_Callback;
        }
        if (!event)
            return;
        // The application's answer, success or not, changes nothing: the next
        // event goes out as usual.
        if (callback)
            event->Dispatch(callback.Get());
    }
}

HRESULT CZQDmxSubtitleCallback::Reset() noexcept {
    // Declared before the lock, so that the events (with their cues) and the
    // application's callback are released after it: their Release may run
    // code of the application's.
    CZQDmxSubtitleEventQueue dropped;
    CComPtr<IZQDmxSubtitleCallback> callback;
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    m_Queue.Swap(dropped);
    callback = std::move(m_Callback);
    DWORD ownerThreadId = std::exchange(m_ThreadId, 0);
    HWND window = std::exchange(m_hWnd, nullptr);
    if (window != nullptr)
        EndWindow(window, ownerThreadId);
    return S_OK;
}

HWND CZQDmxSubtitleCallback::GetWindowHandle() noexcept {
    std::lock_guard<std::recursive_mutex> lock(m_Lock);
    return m_hWnd;
}

void CZQDmxSubtitleCallback::EndWindow(HWND window, DWORD ownerThreadId) noexcept {
    if (ownerThreadId == GetCurrentThreadId()) {
        SetWindowLink(window, 0);
        DestroyWindow(window);
        return;
    }
    // Another thread's window: it is ended by its own thread on message 2025
    // and holds the module until then (see kOrphanedWindow).
    ZQModule().Lock();
    if (!SetWindowLink(window, kOrphanedWindow)) {
        // Already gone with its thread: nothing will give the lock back.
        ZQModule().Unlock();
        return;
    }
    // A failed post means the window is going with its thread, or there is no
    // memory; its WM_NCDESTROY, when its thread ends, gives the lock back.
    PostMessageW(window, kDestroyWindowMessage, 0, 0);
}

bool CZQDmxSubtitleCallback::TryAddRef() noexcept {
    LONG count = m_dwRef.load(std::memory_order_relaxed);
    // 0 means the last reference is gone and the destructor is due; a
    // negative count means it runs. Either way the object is no one's to use.
    while (count > 0) {
        if (m_dwRef.compare_exchange_weak(count, count + 1, std::memory_order_relaxed))
            return true;
    }
    return false;
}

CZQDmxSubtitleCallback* CZQDmxSubtitleCallback::FromWindow(HWND window) noexcept {
    std::lock_guard<std::mutex> lock(s_windowLinkLock);
    LONG_PTR link = GetWindowLongPtrW(window, GWLP_USERDATA);
    if (link == 0 || link == kOrphanedWindow)
        return nullptr;
    auto* dispatcher = reinterpret_cast<CZQDmxSubtitleCallback*>(link);
    return dispatcher->TryAddRef() ? dispatcher : nullptr;
}

LRESULT CZQDmxSubtitleCallback::WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case kEventsPendingMessage: {
        // The window, not lParam, names the dispatcher: see kOrphanedWindow.
        CComPtr<CZQDmxSubtitleCallback> dispatcher;
        dispatcher.Attach(FromWindow(window));
        if (dispatcher)
            dispatcher->DispatchEvents();
        return 0;
    }
    case kDestroyWindowMessage:
        DestroyWindow(window);
        return 0;
    case WM_NCDESTROY: {
        LONG_PTR link = 0;
        {
            std::lock_guard<std::mutex> lock(s_windowLinkLock);
            link = SetWindowLongPtrW(window, GWLP_USERDATA, 0);
        }
        if (link == kOrphanedWindow)
            ZQModule().Unlock();
        return 0;
    }
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}
