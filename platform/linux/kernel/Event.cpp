// Manual- and auto-reset events.
#include <new>

#include "kernel/KernelObject.h"
#include "zqplatform/status.h"

namespace {

using zqplatform::KernelObject;

/// An event record; owned by its handle(s), any thread may signal or wait.
class Event final : public KernelObject {
public:
    Event(bool manualReset, bool signalled) noexcept : KernelObject(Kind::Event, manualReset, signalled) {}

    static Event* FromHandle(HANDLE handle) noexcept {
        KernelObject* object = KernelObject::FromHandle(handle);
        if (object == nullptr)
            return nullptr;
        if (object->GetKind() != Kind::Event) {
            SetLastError(ERROR_INVALID_HANDLE);
            return nullptr;
        }
        return static_cast<Event*>(object);
    }

private:
    ~Event() override = default;
};

}  // namespace

extern "C" {

HANDLE CreateEventW(void* securityAttributes, BOOL manualReset, BOOL initialState, const WCHAR* name) {
    if (securityAttributes != nullptr || name != nullptr) {
        SetLastError(ERROR_NOT_SUPPORTED);
        return nullptr;
    }
    auto* event = new (std::nothrow) Event(manualReset != FALSE, initialState != FALSE);
    if (event == nullptr) {
        SetLastError(ERROR_NOT_ENOUGH_MEMORY);
        return nullptr;
    }
    return event->ToHandle();
}

BOOL SetEvent(HANDLE handle) {
    Event* event = Event::FromHandle(handle);
    if (event == nullptr)
        return FALSE;
    zqplatform::ScopedReference hold(event);
    event->Signal();
    return TRUE;
}

BOOL ResetEvent(HANDLE handle) {
    Event* event = Event::FromHandle(handle);
    if (event == nullptr)
        return FALSE;
    zqplatform::ScopedReference hold(event);
    event->Reset();
    return TRUE;
}

}  // extern "C"
