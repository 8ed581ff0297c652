// zqsubtitle edit: the multiplexer's property page in a window of its own,
// as a property frame shows it, over the given SubRip files.
#pragma once

/// `argv[0]` is "edit"; arguments: [FILE[:LANGUAGE[:LABEL]]]... [--screenshot
/// PNG] [--close ok|cancel] [--help]. Answers 0 after OK, with the final
/// tracks on stdout one per line as FILE:LANGUAGE:LABEL (and with their ids
/// on stderr); 1 after Cancel, printing nothing, and when a file is refused,
/// the module or the presentation library fails, or there is no display (the
/// reason on stderr); 2 for a bad option.
int RunEditCommand(int argc, char** argv);
