#include "support/CMediaTypeRecord.h"

#include <cstring>

#include "zqplatform/oleauto.h"

void* (*CMediaTypeRecord::s_allocate)(size_t size) = &CoTaskMemAlloc;

CMediaTypeRecord::CMediaTypeRecord() noexcept : AM_MEDIA_TYPE() {
    Init();
}

CMediaTypeRecord::~CMediaTypeRecord() {
    Free();
}

void CMediaTypeRecord::Init() noexcept {
    std::memset(static_cast<AM_MEDIA_TYPE*>(this), 0, sizeof(AM_MEDIA_TYPE));
    lSampleSize = 1;
    bFixedSizeSamples = TRUE;
}

void CMediaTypeRecord::Free() noexcept {
    // cbFormat, not pbFormat, says whether the block is ours: a record may
    // carry a borrowed pbFormat with cbFormat 0.
    if (cbFormat != 0) {
        CoTaskMemFree(pbFormat);
        cbFormat = 0;
        pbFormat = nullptr;
    }
    if (pUnk) {
        IUnknown* unknown = pUnk;
        pUnk = nullptr;
        unknown->Release();
    }
}

BYTE* CMediaTypeRecord::AllocFormat(ULONG size) noexcept {
    if (cbFormat == size)
        return pbFormat;
    auto* block = static_cast<BYTE*>(s_allocate(size));
    if (!block) {
        // The present block still serves a caller that asked for no more
        // than it holds.
        return size > cbFormat ? nullptr : pbFormat;
    }
    if (cbFormat != 0)
        CoTaskMemFree(pbFormat);
    pbFormat = block;
    cbFormat = size;
    return block;
}

HRESULT CMediaTypeRecord::Assign(const AM_MEDIA_TYPE* source) noexcept {
    if (source == this)
        return S_OK;
    Free();
    *static_cast<AM_MEDIA_TYPE*>(this) = *source;
    if (cbFormat != 0) {
        auto* block = static_cast<BYTE*>(s_allocate(cbFormat));
        if (!block) {
            cbFormat = 0;
            pbFormat = nullptr;
            pUnk = nullptr;
            return E_OUTOFMEMORY;
        }
        std::memcpy(block, source->pbFormat, cbFormat);
        pbFormat = block;
    }
    if (pUnk)
        pUnk->AddRef();
    return S_OK;
}

void CMediaTypeRecord::SetSampleSize(ULONG size) noexcept {
    if (size == 0) {
        bFixedSizeSamples = FALSE;
        return;
    }
    lSampleSize = size;
    bFixedSizeSamples = TRUE;
}
