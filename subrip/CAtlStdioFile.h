// A thin owner of a buffered binary read stream.
#pragma once

#include "zqplatform/fileio.h"
#include "zqplatform/status.h"

/// Owns one platform read stream and closes it when it goes. It is the base of
/// CTextFile; the owner's scope ends it, and only the owning thread calls it.
/// The three virtual operations work on raw byte offsets of the file.
class CAtlStdioFile {
public:
    CAtlStdioFile() noexcept = default;
    CAtlStdioFile(const CAtlStdioFile&) = delete;
    CAtlStdioFile& operator=(const CAtlStdioFile&) = delete;
    /// Closes the stream if it is open.
    virtual ~CAtlStdioFile();

    /// Moves to `offset` from `origin` (0 start, 1 current, 2 end). E_FAIL when
    /// the stream refuses (a position before the start) or the file is closed.
    virtual HRESULT Seek(LONGLONG offset, int origin);
    /// The stream's position. E_FAIL only when the file is closed.
    virtual HRESULT GetPosition(LONGLONG& position);
    /// The file's length. E_FAIL when the file is closed or has no known length.
    virtual HRESULT GetLength(LONGLONG& length);

    /// Closes the stream if it is open. S_OK always; a second call does nothing.
    HRESULT Close() noexcept;
    bool IsOpen() const noexcept { return m_file != nullptr; }

protected:
    ZQStream* m_file = nullptr;  // the open stream; null while closed
};
