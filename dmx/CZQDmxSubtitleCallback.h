// The dispatcher that carries cue events to the thread that set the
// application's callback.
#pragma once

#include <mutex>

#include "dmx/CZQDmxSubtitleEventQueue.h"
#include "support/CComObjectRoot.h"
#include "zqplatform/comptr.h"
#include "zqplatform/winuser.h"
#include "zqsubtitle/ZQSubtitle.h"

ZQ_BEGIN_INTERFACE_CLASS

/// Stands between the cue code and the application's IZQDmxSubtitleCallback:
/// Cue may be called on any thread; the application is called only on the
/// thread that set the callback, at once when the event arises there, else
/// through message 2024 to a hidden window of that thread. Owned by the
/// demultiplexer object (made as CComObjectNoLock, so it never holds the
/// module by itself). Any thread may call Cue, GetCallback and Reset;
/// SetCallback runs on the application's thread, DispatchEvents on the
/// window's thread only.
class CZQDmxSubtitleCallback : public CComObjectRootEx, public IZQDmxSubtitleCallback {
public:
    /// Message posted to the hidden window when events wait in the queue.
    static constexpr UINT kEventsPendingMessage = 2024;
    /// Message posted to the hidden window to have its own thread end it.
    static constexpr UINT kDestroyWindowMessage = 2025;
    static constexpr const WCHAR* kWindowClassName = u"IZQDmxSubtitleCallback window class";
    static constexpr const WCHAR* kWindowName = u"IZQDmxSubtitleCallback window";

    /// Makes an idle dispatcher. `*out` holds the caller's reference;
    /// E_POINTER for a null `out`, E_OUTOFMEMORY with `*out` null.
    static HRESULT CreateInstance(CZQDmxSubtitleCallback** out) noexcept;

    /// Identity table: IUnknown and IZQDmxSubtitleCallback.
    void* GetInterface(REFIID iid) noexcept;

    /// Queues the event and has it delivered: before returning when called on
    /// the callback's thread (with every event queued before it, in order),
    /// else when that thread next pumps messages. S_OK and nothing queued
    /// while there is no callback; E_OUTOFMEMORY when the event can't be
    /// queued. What the application answers is never seen here.
    HRESULT Cue(ZQSubtitle_Cue_Event cueevent, double currenttime, IZQSubtitleCue* cue) override;

    /// Drops whatever was set before (as Reset), then makes the calling
    /// thread the one on which `callback` hears every event, and makes its
    /// hidden window. Null leaves the dispatcher idle with S_OK.
    /// E_OUTOFMEMORY when the window can't be made, with the dispatcher idle.
    HRESULT SetCallback(IZQDmxSubtitleCallback* callback);

    /// Writes the callback with a reference (null if there is none).
    /// E_POINTER for a null `out` or one that doesn't point to null.
    HRESULT GetCallback(IZQDmxSubtitleCallback** out);

    /// Delivers the queued events one at a time, in order, until the queue
    /// is empty, calling the application with no lock of the dispatcher held.
    /// Runs only on the window's thread; a Cue from inside the application's
    /// method delivers, nested, before it returns.
    void DispatchEvents() noexcept;

    /// Drops the queued events undelivered, releases the callback and ends
    /// the window: at once on the window's thread, else by message 2025 to
    /// it. Always S_OK; a second call does nothing.
    HRESULT Reset() noexcept;

    /// The hidden window, null while idle; for diagnostics and tests.
    HWND GetWindowHandle() noexcept;

    /// The procedure of the hidden window class.
    static LRESULT WindowProc(HWND window, UINT message, WPARAM wParam, LPARAM lParam);

protected:
    CZQDmxSubtitleCallback() noexcept = default;
    ~CZQDmxSubtitleCallback();

private:
    /// A reference for the window procedure, unless the count has already
    /// reached 0 and the object is on its way out.
    bool TryAddRef() noexcept;
    /// The dispatcher that a window links to, with a reference; null once
    /// the dispatcher has let go of the window.
    static CZQDmxSubtitleCallback* FromWindow(HWND window) noexcept;
    /// Ends a window that no longer links to this dispatcher.
    static void EndWindow(HWND window, DWORD ownerThreadId) noexcept;

    // Guards every field below. Taken after the demultiplexer object's lock
    // and before the platform's window locks; never held while the
    // application runs.
    std::recursive_mutex m_Lock;
    HWND m_hWnd = nullptr;
    DWORD m_ThreadId = 0;
    CZQDmxSubtitleEventQueue m_Queue;
    CComPtr<IZQDmxSubtitleCallback> m_Callback;
};

ZQ_END_INTERFACE_CLASS
