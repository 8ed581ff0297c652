// A thin owner of the byte source a text file is read from.
#pragma once

#include <memory>

#include "subrip/CByteSource.h"
#include "zqplatform/status.h"

/// Owns one byte source and lets it go when it goes. It is the base of
/// CTextFile; the owner's scope ends it, and only the owning thread calls it.
/// The three virtual operations work on raw byte offsets of the source.
class CAtlStdioFile {
public:
    CAtlStdioFile() noexcept = default;
    CAtlStdioFile(const CAtlStdioFile&) = delete;
    CAtlStdioFile& operator=(const CAtlStdioFile&) = delete;
    virtual ~CAtlStdioFile() = default;

    /// Moves to `offset` from `origin` (0 start, 1 current, 2 end). E_FAIL when
    /// the source refuses (a position before the start) or the file is closed.
    virtual HRESULT Seek(LONGLONG offset, int origin);
    /// The source's position. E_FAIL only when the file is closed.
    virtual HRESULT GetPosition(LONGLONG& position);
    /// The source's length. E_FAIL when the file is closed or has no known length.
    virtual HRESULT GetLength(LONGLONG& length);

    /// Lets the source go. S_OK always; a second call does nothing.
    HRESULT Close() noexcept;
    bool IsOpen() const noexcept { return m_source != nullptr; }

protected:
    std::unique_ptr<CByteSource> m_source;  // the open source; null while closed
};
