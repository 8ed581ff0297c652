// The owning form of AM_MEDIA_TYPE.
#pragma once

#include <cstddef>

#include "zqplatform/strmif.h"

/// An AM_MEDIA_TYPE that owns its format block and holds its pUnk reference.
/// It has the layout of AM_MEDIA_TYPE and no fields of its own, so a pointer
/// to it is passed wherever an AM_MEDIA_TYPE* is expected. The record owns a
/// format block (task memory) exactly when cbFormat isn't 0; two records
/// never share one. It is written while its track is being set up and only
/// read after that, so it has no lock.
class CMediaTypeRecord : public AM_MEDIA_TYPE {
public:
    /// A record of zeros with lSampleSize 1 and bFixedSizeSamples TRUE.
    CMediaTypeRecord() noexcept;
    /// Free.
    ~CMediaTypeRecord();

    CMediaTypeRecord(const CMediaTypeRecord&) = delete;
    CMediaTypeRecord& operator=(const CMediaTypeRecord&) = delete;

    /// Sets every byte to 0, then lSampleSize to 1 and bFixedSizeSamples to
    /// TRUE. Frees nothing: only for a record without a block or reference.
    void Init() noexcept;

    /// Frees the block (when cbFormat isn't 0) and releases pUnk; the other
    /// fields stay. A second call does nothing.
    void Free() noexcept;

    /// A format block of `size` bytes: the present one, contents kept, if it
    /// already has that size; else a new one with undefined contents, the old
    /// one freed. If memory runs out the record is unchanged and the answer is
    /// the present block when it is at least `size` bytes, else null.
    BYTE* AllocFormat(ULONG size) noexcept;

    /// Makes this record a deep copy of `source`: its own block and its own
    /// reference on pUnk. Assigning the record to itself does nothing. S_OK,
    /// or E_OUTOFMEMORY with cbFormat 0, pbFormat and pUnk null.
    HRESULT Assign(const AM_MEDIA_TYPE* source) noexcept;

    /// 0 makes the samples variable in size and leaves lSampleSize; any other
    /// size is stored and makes them fixed.
    void SetSampleSize(ULONG size) noexcept;

    /// The allocator of format blocks: CoTaskMemAlloc. Tests replace it to make
    /// memory run out; nothing else writes it.
    static void* (*s_allocate)(size_t size);
};

static_assert(sizeof(CMediaTypeRecord) == sizeof(AM_MEDIA_TYPE));
