// Bytes in memory for the reader's and the parser's tests, with a read
// failure where a test wants one.
#pragma once

#include <memory>
#include <string>

#include "subrip/CByteSource.h"
#include "subrip/CMemoryByteSource.h"

namespace zqsubriptest {

/// Owns its bytes; every read that reaches byte `failAt` delivers the bytes
/// before it and then fails with `failure`, as a disk error would.
class TestByteSource final : public CByteSource {
public:
    explicit TestByteSource(std::string bytes, size_t failAt = std::string::npos, HRESULT failure = E_FAIL)
        : m_bytes(std::move(bytes)), m_memory(m_bytes), m_failAt(failAt), m_failure(failure) {}

    size_t Read(void* buffer, size_t count) override {
        const auto position = static_cast<size_t>(m_memory.Tell());
        if (m_failAt != std::string::npos && position + count > m_failAt) {
            const size_t got = position < m_failAt ? m_memory.Read(buffer, m_failAt - position) : 0;
            m_failed = m_failure;
            return got;
        }
        return m_memory.Read(buffer, count);
    }
    HRESULT Failure() const override { return m_failed; }
    bool Seek(LONGLONG offset, int origin) override { return m_memory.Seek(offset, origin); }
    LONGLONG Tell() override { return m_memory.Tell(); }
    LONGLONG Length() override { return m_memory.Length(); }

private:
    const std::string m_bytes;
    CMemoryByteSource m_memory;
    const size_t m_failAt;
    const HRESULT m_failure;
    HRESULT m_failed = S_OK;
};

inline std::unique_ptr<CByteSource> Bytes(std::string bytes) {
    return std::make_unique<TestByteSource>(std::move(bytes));
}

}  // namespace zqsubriptest
