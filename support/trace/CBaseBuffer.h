#pragma once

#include <cstddef>

#include "zqplatform/types.h"

/// A growable run of bytes whose storage comes from, and goes back to, the
/// allocator its derived class names. Owned by one object or one stack
/// frame; not locked, so callers that share one guard it themselves.
class CBaseBuffer {
public:
    using FreeFunction = void (*)(void* storage);
    /// Reallocates `storage` (null: allocates) to `bytes`; null on failure,
    /// with the old storage untouched.
    using ReallocFunction = void* (*)(void* storage, size_t bytes);

    virtual ~CBaseBuffer();
    CBaseBuffer(const CBaseBuffer&) = delete;
    CBaseBuffer& operator=(const CBaseBuffer&) = delete;

    /// Frees the storage; both sizes become 0.
    virtual void Clear() noexcept;
    /// Grows the capacity to `bytes` if it is smaller; false if it can't.
    virtual bool Reserve(LONG bytes) noexcept;

    /// Copies `size` bytes to the end, growing to exactly the size needed:
    /// E_OUTOFMEMORY (and nothing changed) if it can't, E_INVALIDARG for a
    /// negative size or null bytes with a size.
    HRESULT Append(const void* bytes, LONG size) noexcept;
    /// Forgets the contents and keeps the storage.
    void Reset() noexcept { m_Size = 0; }
    /// Exchanges storage, used size and capacity with `other`. Both must
    /// free through the same allocator.
    void Swap(CBaseBuffer& other) noexcept;
    /// Replaces the contents with a printf-style text and its NUL, which
    /// counts as used. E_OUTOFMEMORY (contents emptied) if it can't grow,
    /// E_INVALIDARG for a null or bad format.
    HRESULT Format(const char* format, ...) noexcept __attribute__((format(printf, 2, 3)));

    BYTE* Data() noexcept { return m_Data; }
    const BYTE* Data() const noexcept { return m_Data; }
    LONG Size() const noexcept { return m_Size; }
    LONG Capacity() const noexcept { return m_Capacity; }

protected:
    CBaseBuffer(FreeFunction free, ReallocFunction realloc) noexcept : m_Free(free), m_Realloc(realloc) {}

private:
    BYTE* m_Data = nullptr;
    LONG m_Size = 0;      // bytes in use
    LONG m_Capacity = 0;  // bytes of storage
    FreeFunction m_Free;
    ReallocFunction m_Realloc;
};
