// A loadable module with its own copy of the dispatcher, so that a test can
// unload it and load it again within one process.
#include "dmx/CZQDmxSubtitleCallback.h"

extern "C" {

/// Makes a dispatcher of this copy with `callback` set on the calling thread.
ZQPLATFORM_API HRESULT ZQTestMakeDispatcher(IZQDmxSubtitleCallback* callback, IZQDmxSubtitleCallback** out) {
    CZQDmxSubtitleCallback* dispatcher = nullptr;
    HRESULT hr = CZQDmxSubtitleCallback::CreateInstance(&dispatcher);
    if (FAILED(hr))
        return hr;
    hr = dispatcher->SetCallback(callback);
    if (FAILED(hr)) {
        dispatcher->Release();
        return hr;
    }
    *out = dispatcher;
    return S_OK;
}

/// The hidden window of a dispatcher of this copy.
ZQPLATFORM_API HWND ZQTestDispatcherWindow(IZQDmxSubtitleCallback* dispatcher) {
    return static_cast<CZQDmxSubtitleCallback*>(dispatcher)->GetWindowHandle();
}

}  // extern "C"
