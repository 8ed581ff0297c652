// What the text file reader reads its bytes from.
#pragma once

#include <cstddef>

#include "zqplatform/fileio.h"
#include "zqplatform/status.h"

/// A seekable source of bytes under a CTextFile: a file (CStreamByteSource),
/// memory (CMemoryByteSource), or a test's own. Owned by the one CTextFile
/// that reads it, on that reader's thread.
class CByteSource {
public:
    virtual ~CByteSource() = default;

    /// Reads up to `count` bytes into `buffer` and answers how many came.
    /// Fewer than asked means the end of the source or a failure, which
    /// Failure then tells.
    virtual size_t Read(void* buffer, size_t count) = 0;
    /// The status of the first failed read (the platform's error as a
    /// status), or S_OK while no read has failed.
    virtual HRESULT Failure() const = 0;
    /// Moves to `offset` from `origin` (ZQ_SEEK_SET, _CUR, _END). False for a
    /// position before the start; a seek doesn't clear a failure.
    virtual bool Seek(LONGLONG offset, int origin) = 0;
    /// The position in bytes from the start, or -1.
    virtual LONGLONG Tell() = 0;
    /// The length in bytes, or -1 when it isn't known.
    virtual LONGLONG Length() = 0;

protected:
    CByteSource() = default;
    CByteSource(const CByteSource&) = delete;
    CByteSource& operator=(const CByteSource&) = delete;
};
