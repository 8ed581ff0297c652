// zqsubtitle mux: SubRip files, and the media of a container, into one
// output container.
#pragma once

/// `argv[0]` is "mux"; arguments: [INPUT_MEDIA] -s FILE[:LANGUAGE[:LABEL]]...
/// -o OUTPUT [--format NAME] [--quiet] [--json] [--help]. Answers 0 when the
/// output is written, 1 when anything fails (the file and the reason on
/// stderr; no output is left and an existing one is unchanged), 2 for bad
/// arguments, 130 when interrupted.
int RunMuxCommand(int argc, char** argv);
