// The media framework's types that the module uses: media types and clocks.
#pragma once

#include "zqplatform/unknwn.h"

using HEVENT = DWORD_PTR;
using HSEMAPHORE = DWORD_PTR;

struct AM_MEDIA_TYPE {
    GUID majortype;
    GUID subtype;
    BOOL bFixedSizeSamples;
    BOOL bTemporalCompression;
    ULONG lSampleSize;
    GUID formattype;
    IUnknown* pUnk;
    ULONG cbFormat;
    BYTE* pbFormat;
};

static_assert(offsetof(AM_MEDIA_TYPE, majortype) == 0);
static_assert(offsetof(AM_MEDIA_TYPE, subtype) == 16);
static_assert(offsetof(AM_MEDIA_TYPE, bFixedSizeSamples) == 32);
static_assert(offsetof(AM_MEDIA_TYPE, bTemporalCompression) == 36);
static_assert(offsetof(AM_MEDIA_TYPE, lSampleSize) == 40);
static_assert(offsetof(AM_MEDIA_TYPE, formattype) == 44);
static_assert(offsetof(AM_MEDIA_TYPE, pUnk) == 64);
static_assert(offsetof(AM_MEDIA_TYPE, cbFormat) == 72);
static_assert(offsetof(AM_MEDIA_TYPE, pbFormat) == 80);
static_assert(sizeof(AM_MEDIA_TYPE) == 88);

ZQ_DECLARE_INTERFACE_IID(IReferenceClock, 0x56A86897, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);
ZQ_DECLARE_INTERFACE_IID(IFilterGraph, 0x56A8689F, 0x0AD4, 0x11CE, 0xB0, 0x3A, 0x00, 0x20, 0xAF, 0x0B, 0xA7, 0x70);

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

struct IReferenceClock : IUnknown {
    virtual HRESULT GetTime(REFERENCE_TIME* pTime) = 0;
    virtual HRESULT AdviseTime(REFERENCE_TIME baseTime, REFERENCE_TIME streamTime, HEVENT hEvent,
                               DWORD_PTR* pdwAdviseCookie) = 0;
    virtual HRESULT AdvisePeriodic(REFERENCE_TIME startTime, REFERENCE_TIME periodTime, HSEMAPHORE hSemaphore,
                                   DWORD_PTR* pdwAdviseCookie) = 0;
    virtual HRESULT Unadvise(DWORD_PTR dwAdviseCookie) = 0;
};

/// Opaque here: only its identity is used.
struct IFilterGraph : IUnknown {};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif
