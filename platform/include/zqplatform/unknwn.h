// IUnknown, IClassFactory and the way interfaces name their identifiers.
#pragma once

#include "zqplatform/status.h"

/// Maps an interface type to its IID; specialised by ZQ_DECLARE_INTERFACE_IID.
template <class Interface>
struct ZQInterfaceId;

/// Declares `IID_Name` and ties it to the interface type `Name`, so that the
/// smart pointer's query helpers can find it.
#define ZQ_DECLARE_INTERFACE_IID(Name, d1, d2, d3, b0, b1, b2, b3, b4, b5, b6, b7) \
    struct Name;                                                                   \
    inline constexpr IID IID_##Name = {d1, d2, d3, {b0, b1, b2, b3, b4, b5, b6, b7}}; \
    template <>                                                                    \
    struct ZQInterfaceId<Name> {                                                   \
        static constexpr const IID& value = IID_##Name;                           \
    }

template <class Interface>
inline constexpr const IID& ZQIidOf() noexcept {
    return ZQInterfaceId<Interface>::value;
}

ZQ_DECLARE_INTERFACE_IID(IUnknown, 0x00000000, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);
ZQ_DECLARE_INTERFACE_IID(IClassFactory, 0x00000001, 0x0000, 0x0000, 0xC0, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x46);

// Interfaces have no virtual destructor by contract; the vtable is exactly
// the methods in their documented order.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

struct IUnknown {
    virtual HRESULT QueryInterface(REFIID riid, void** ppvObject) = 0;
    virtual ULONG AddRef() = 0;
    virtual ULONG Release() = 0;
};

struct IClassFactory : IUnknown {
    virtual HRESULT CreateInstance(IUnknown* pUnkOuter, REFIID riid, void** ppvObject) = 0;
    virtual HRESULT LockServer(BOOL fLock) = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
