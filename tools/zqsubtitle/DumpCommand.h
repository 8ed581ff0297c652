// zqsubtitle dump: reads a SubRip file as the multiplexer does and prints
// every cue as a host would receive it.
#pragma once

/// `argv[0]` is "dump"; arguments: FILE [--language CODE] [--json] [--help].
/// Answers 0 when the file loads, 1 when it is refused or can't be read (the
/// status, its text and the file name on stderr, or in the JSON document), 2
/// for a bad option.
int RunDumpCommand(int argc, char** argv);
