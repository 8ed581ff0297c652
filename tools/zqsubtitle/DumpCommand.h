// zqsubtitle dump: adds SubRip files as the tracks of a multiplexer object,
// plays its host, runs it to the end of every track and prints each call the
// host receives.
#pragma once

/// `argv[0]` is "dump"; arguments: FILE[:LANGUAGE[:LABEL]]... [--json] [--help].
/// Answers 0 when every file loads and the run ends, 1 when a file is refused
/// or can't be read, or the object fails (the status, its text and the file
/// name on stderr, or in the JSON document), 2 for a bad option.
int RunDumpCommand(int argc, char** argv);
