// zqsubtitle dump: adds a SubRip file as a multiplexer track and prints the
// media type and every cue as a host would receive them.
#pragma once

/// `argv[0]` is "dump"; arguments: FILE [--language CODE] [--label TEXT] [--json]
/// [--help].
/// Answers 0 when the file loads, 1 when it is refused or can't be read (the
/// status, its text and the file name on stderr, or in the JSON document), 2
/// for a bad option.
int RunDumpCommand(int argc, char** argv);
