// zqsubtitle play: plays the subtitle tracks of containers (through a
// demultiplexer host) and of SubRip files (through a multiplexer object
// feeding the demultiplexer object) in real time, or faster, and prints every
// cue event as the application hears it.
#pragma once

/// `argv[0]` is "play"; arguments: MEDIA_OR_SRT... [--track ID]... [--speed X]
/// [--from SECONDS] [--json] [--help]. Answers 0 when the play reaches the
/// end of the last cue, 130 when interrupted (Ctrl-C; the Clear of the stop
/// is printed first), 1 when a file is refused or an object fails (the status,
/// its text and the file name on stderr), 2 for bad arguments.
int RunPlayCommand(int argc, char** argv);
