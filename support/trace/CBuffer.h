#pragma once

#include "support/trace/CBaseBuffer.h"

/// A buffer on the C library's general heap, for short-lived texts such as
/// the name of the tracer's record. Owned by its scope; one thread at a time.
class CBuffer final : public CBaseBuffer {
public:
    CBuffer() noexcept;
};
