// Where the multiplexer host hands the samples of a run.
#pragma once

#include <cstddef>
#include <cstdint>

#include "zqplatform/types.h"

/// What the host multiplexer does with the cues of one run of the pump:
/// count them, or hand them to the writer. Tracks are the host's indexes
/// (0 for the first announced). Called on the pump's thread, with the
/// multiplexer object's lock held; Abandon from any thread.
class CCueSink {
public:
    virtual ~CCueSink() = default;

    /// One cue, its times in 100 ns units, its text UTF-8 (`length` bytes,
    /// lent for the call). A failure status ends the pump.
    virtual HRESULT Cue(size_t track, int64_t start, int64_t stop, const char* text, size_t length) = 0;
    /// The track has sent its last cue.
    virtual HRESULT End(size_t track) = 0;
    /// Gives the run up: every later cue answers E_ABORT, and whoever waits
    /// for the sink stops waiting.
    virtual void Abandon() = 0;
};
