// The bytes of a file, through the platform's buffered read stream.
#pragma once

#include "subrip/CByteSource.h"
#include "zqplatform/fileio.h"

/// A file opened for reading, as the source of a CTextFile. Owns the
/// platform stream and closes it when it goes.
class CStreamByteSource final : public CByteSource {
public:
    /// Opens `path` for reading; others may go on reading and writing it.
    /// The platform's last error as a status when the open fails (0x80070002
    /// for a missing file, 0x80070005 for a folder or without permission),
    /// E_FAIL when no stream can be made, E_OUTOFMEMORY. `*source` is the
    /// caller's on success and null otherwise.
    static HRESULT Open(const WCHAR* path, CByteSource** source) noexcept;

    ~CStreamByteSource() override;

    size_t Read(void* buffer, size_t count) override;
    HRESULT Failure() const override;
    bool Seek(LONGLONG offset, int origin) override;
    LONGLONG Tell() override;
    LONGLONG Length() override;

private:
    explicit CStreamByteSource(ZQStream* stream) noexcept : m_stream(stream) {}

    ZQStream* const m_stream;
    // The status of the first failed read.
    HRESULT m_failure = S_OK;
};
