#pragma once

#include "support/trace/CBaseBuffer.h"

/// A buffer on the process heap, which every copy of the trace code shares,
/// so that one copy may free what another one grew. The tracer's write buffer
/// is one, made and destroyed through Create and Destroy (the object itself
/// comes from the process heap too); Flush uses one on its stack. Guarded by
/// whoever owns it.
class CHeapBuffer final : public CBaseBuffer {
public:
    CHeapBuffer() noexcept;

    /// A new empty buffer on the process heap, or null.
    static CHeapBuffer* Create() noexcept;
    /// Ends and frees a buffer made by Create; null is accepted.
    static void Destroy(CHeapBuffer* buffer) noexcept;
};
