// zqsubtitle probe: the subtitle streams of a container, as the hosts see them.
#pragma once

/// `argv[0]` is "probe"; arguments: MEDIA [--json] [--help]. Answers 0 when
/// the container is read to its end, 1 when it can't be (the file and the
/// reason on stderr), 2 for bad arguments.
int RunProbeCommand(int argc, char** argv);
