// Bytes in memory as the source of a text file reader.
#pragma once

#include <string_view>

#include "subrip/CByteSource.h"

/// Reads bytes that the caller keeps alive for the source's whole life: text
/// already in memory, a fuzzer's input, a test's file. Never fails.
class CMemoryByteSource final : public CByteSource {
public:
    explicit CMemoryByteSource(std::string_view bytes) noexcept : m_bytes(bytes) {}

    size_t Read(void* buffer, size_t count) override;
    HRESULT Failure() const override { return S_OK; }
    bool Seek(LONGLONG offset, int origin) override;
    LONGLONG Tell() override { return static_cast<LONGLONG>(m_position); }
    LONGLONG Length() override { return static_cast<LONGLONG>(m_bytes.size()); }

private:
    const std::string_view m_bytes;
    size_t m_position = 0;
};
