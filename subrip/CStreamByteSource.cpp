#include "subrip/CStreamByteSource.h"

#include <new>

#include "zqplatform/fileapi.h"
#include "zqplatform/status.h"
#include "zqplatform/sync.h"

HRESULT CStreamByteSource::Open(const WCHAR* path, CByteSource** source) noexcept {
    *source = nullptr;
    HANDLE handle = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                                FILE_ATTRIBUTE_NORMAL, nullptr);
    if (handle == INVALID_HANDLE_VALUE) {
        const HRESULT hr = HRESULT_FROM_WIN32(GetLastError());
        return FAILED(hr) ? hr : E_FAIL;
    }
    // The stream takes the handle over; until then it is ours to close.
    ZQStream* stream = ZQStreamFromHandle(handle, "rb");
    if (stream == nullptr) {
        CloseHandle(handle);
        return E_FAIL;
    }
    *source = new (std::nothrow) CStreamByteSource(stream);
    if (*source == nullptr) {
        ZQStreamClose(stream);
        return E_OUTOFMEMORY;
    }
    return S_OK;
}

CStreamByteSource::~CStreamByteSource() {
    ZQStreamClose(m_stream);
}

size_t CStreamByteSource::Read(void* buffer, size_t count) {
    const size_t got = ZQStreamRead(m_stream, buffer, count);
    if (got < count && m_failure == S_OK && ZQStreamError(m_stream)) {
        m_failure = HRESULT_FROM_WIN32(GetLastError());
        if (SUCCEEDED(m_failure))
            m_failure = E_FAIL;
    }
    return got;
}

HRESULT CStreamByteSource::Failure() const {
    return m_failure;
}

bool CStreamByteSource::Seek(LONGLONG offset, int origin) {
    return ZQStreamSeek(m_stream, offset, origin) == 0;
}

LONGLONG CStreamByteSource::Tell() {
    return ZQStreamTell(m_stream);
}

LONGLONG CStreamByteSource::Length() {
    return ZQStreamLength(m_stream);
}
