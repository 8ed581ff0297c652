// Per-thread initialisation of the component runtime.
#include "com/ComInit.h"

#include "zqplatform/objbase.h"

namespace {

/// The calling thread's apartment: how often it was initialised and of which
/// kind. Only the thread itself touches it.
struct ThreadApartment {
    ULONG initCount = 0;
    bool multithreaded = false;
};

thread_local ThreadApartment t_apartment;

}  // namespace

namespace zqplatform {

bool IsThreadInitialised() noexcept {
    return t_apartment.initCount > 0;
}

}  // namespace zqplatform

extern "C" {

HRESULT CoInitializeEx(LPVOID reserved, DWORD coInit) {
    if (reserved != nullptr)
        return E_INVALIDARG;
    bool multithreaded = (coInit & COINIT_APARTMENTTHREADED) == 0;
    if (t_apartment.initCount > 0) {
        if (t_apartment.multithreaded != multithreaded)
            return RPC_E_CHANGED_MODE;
        ++t_apartment.initCount;
        return S_FALSE;
    }
    t_apartment.multithreaded = multithreaded;
    t_apartment.initCount = 1;
    return S_OK;
}

void CoUninitialize() {
    // More calls than initialisations are the caller's bug; ignore them.
    if (t_apartment.initCount > 0)
        --t_apartment.initCount;
}

}  // extern "C"
