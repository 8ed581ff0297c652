// The plain text of the ASS events that libavcodec's text subtitle decoders
// give (mov_text, WebVTT, ASS and the rest).
#pragma once

#include <string>
#include <string_view>

/// The text that an ASS event shows, as a cue's plain UTF-8 text. `event` is
/// a decoder's event line, "ReadOrder,Layer,Style,Name,MarginL,MarginR,
/// MarginV,Effect,Text"; only the Text field is read. Override blocks
/// ("{...}") are dropped, "\N" and "\n" become line ends, "\h" a no-break
/// space, and the escaped "\{", "\}" and "\\" their characters. An event
/// without all nine fields has no text.
std::string PlainTextFromAssEvent(std::string_view event);
