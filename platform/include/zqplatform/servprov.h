// IServiceProvider: how an object of a frame or container hands out services
// that it doesn't implement itself, such as the object a property page edits.
#pragma once

#include "zqplatform/unknwn.h"

ZQ_DECLARE_INTERFACE_IID(IServiceProvider, 0x6D5140C1, 0x7436, 0x11CE, 0x80, 0x34, 0x00, 0xAA, 0x00, 0x60, 0x09, 0xFA);

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

struct IServiceProvider : IUnknown {
    /// The interface `riid` of the service `guidService`, with one reference
    /// for the caller; `*ppvObject` null on failure.
    virtual HRESULT QueryService(REFGUID guidService, REFIID riid, void** ppvObject) = 0;
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
