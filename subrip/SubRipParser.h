// The SubRip parser: lines of a text file into the cues of one track.
#pragma once

#include "subrip/CSubRipCueSink.h"
#include "zqplatform/types.h"

class CTextFile;

/// Rewinds `file` to its first byte of text and reads it to the end, handing
/// `cues` a cue for every time line that stands between cues. A file is taken
/// whole or not at all: every failure clears `cues`.
/// - S_OK when the file ended and at least one cue was handed over;
/// - VFW_E_INVALID_FILE_FORMAT for a line between cues that is neither blank,
///   nor a lone number, nor a time line, and for a file without a cue;
/// - the status of a failed rewind (then `cues` is untouched), of a failed
///   read or of a failed AddCue.
/// A status exception (out of memory) passes through, after `cues` is cleared.
/// `cues` is expected empty and is seen by nobody else while this runs.
HRESULT ZQParseSubRip(CTextFile& file, CSubRipCueSink& cues);
