#include "support/trace/CBaseBuffer.h"

#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include "zqplatform/status.h"

CBaseBuffer::~CBaseBuffer() {
    // Not virtual dispatch here: the derived part is gone, but its allocator
    // is held in m_Free.
    CBaseBuffer::Clear();
}

void CBaseBuffer::Clear() noexcept {
    if (m_Data != nullptr)
        m_Free(m_Data);
    m_Data = nullptr;
    m_Size = 0;
    m_Capacity = 0;
}

bool CBaseBuffer::Reserve(LONG bytes) noexcept {
    if (bytes <= m_Capacity)
        return true;
    void* grown = m_Realloc(m_Data, static_cast<size_t>(bytes));
    if (grown == nullptr)
        return false;
    m_Data = static_cast<BYTE*>(grown);
    m_Capacity = bytes;
    return true;
}

HRESULT CBaseBuffer::Append(const void* bytes, LONG size) noexcept {
    if (size < 0 || (bytes == nullptr && size > 0))
        return E_INVALIDARG;
    if (size == 0)
        return S_OK;
    if (size > LONG_MAX - m_Size || !Reserve(m_Size + size))
        return E_OUTOFMEMORY;
    std::memcpy(m_Data + m_Size, bytes, static_cast<size_t>(size));
    m_Size += size;
    return S_OK;
}

void CBaseBuffer::Swap(CBaseBuffer& other) noexcept {
    std::swap(m_Data, other.m_Data);
    std::swap(m_Size, other.m_Size);
    std::swap(m_Capacity, other.m_Capacity);
}

HRESULT CBaseBuffer::Format(const char* format, ...) noexcept {
    Reset();
    if (format == nullptr)
        return E_INVALIDARG;
    va_list arguments;
    va_start(arguments, format);
    va_list measure;
    va_copy(measure, arguments);
    int length = std::vsnprintf(nullptr, 0, format, measure);
    va_end(measure);
    HRESULT hr = S_OK;
    if (length < 0 || length == INT_MAX)
        hr = E_INVALIDARG;
    else if (!Reserve(length + 1))
        hr = E_OUTOFMEMORY;
    if (SUCCEEDED(hr)) {
        std::vsnprintf(reinterpret_cast<char*>(m_Data), static_cast<size_t>(length) + 1, format, arguments);
        m_Size = length + 1;
    }
    va_end(arguments);
    return hr;
}
