// Where the SubRip parser puts the cues it finds.
#pragma once

#include <cstddef>

#include "zqplatform/types.h"

/// Receives the cues of one SubRip file, in the order of the file, from
/// ZQParseSubRip on the parser's thread. The owner of a track adapts it to
/// the track's cue list; tests and tools record into it.
class CSubRipCueSink {
public:
    /// Takes one cue: `length` UTF-16 units of `text` (each line of the cue
    /// followed by LF; a NUL stands behind them), shown from `start` up to
    /// `stop`. The times are as the file gives them, not checked against each
    /// other. A failure ends the parse with that status; a status exception
    /// (out of memory) may pass through.
    virtual HRESULT AddCue(const WCHAR* text, size_t length, REFERENCE_TIME start, REFERENCE_TIME stop) = 0;

    /// Forgets every cue taken so far: the parse failed, and a file is taken
    /// whole or not at all. Never fails.
    virtual void Clear() noexcept = 0;

protected:
    CSubRipCueSink() = default;
    CSubRipCueSink(const CSubRipCueSink&) = default;
    CSubRipCueSink& operator=(const CSubRipCueSink&) = default;
    ~CSubRipCueSink() = default;
};
