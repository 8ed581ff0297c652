// Where a container writer's bytes go.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zqplatform/types.h"

/// The destination of a container writer: the output file written beside
/// its final name, or a test's sink that fails on purpose. Its owner is the
/// writer; one thread at a time.
class CByteSink {
public:
    virtual ~CByteSink() = default;

    /// Writes all `size` bytes at the position and moves past them. A
    /// failure (a full disk is one) answers its status, and what was
    /// written before stays.
    virtual HRESULT Write(const uint8_t* data, size_t size) = 0;
    /// Moves the position to `offset` bytes from the start; S_OK or a status.
    virtual HRESULT SeekTo(int64_t offset) = 0;
    /// The position, in bytes from the start.
    virtual int64_t Position() const = 0;
    /// The length of what was written so far.
    virtual int64_t Length() const = 0;
};
