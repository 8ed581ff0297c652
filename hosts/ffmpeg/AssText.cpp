#include "hosts/ffmpeg/AssText.h"

namespace {

// ReadOrder, Layer, Style, Name, MarginL, MarginR, MarginV, Effect: the
// fields before Text, which alone may hold commas.
constexpr int kFieldsBeforeText = 8;
constexpr std::string_view kNoBreakSpace = "\xC2\xA0";

/// The Text field, or nothing when the event has fewer fields.
std::string_view TextField(std::string_view event) {
    size_t position = 0;
    for (int field = 0; field < kFieldsBeforeText; ++field) {
        const size_t comma = event.find(',', position);
        if (comma == std::string_view::npos)
            return {};
        position = comma + 1;
    }
    return event.substr(position);
}

}  // namespace

std::string PlainTextFromAssEvent(std::string_view event) {
    const std::string_view text = TextField(event);
    std::string plain;
    plain.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (c == '{') {
            // An override block shows nothing; an unclosed brace is text.
            const size_t close = text.find('}', i);
            if (close != std::string_view::npos) {
                i = close;
                continue;
            }
        }
        if (c == '\\' && i + 1 < text.size()) {
            const char next = text[i + 1];
            if (next == 'N' || next == 'n') {
                plain += '\n';
                ++i;
                continue;
            }
            if (next == 'h') {
                plain += kNoBreakSpace;
                ++i;
                continue;
            }
            if (next == '{' || next == '}' || next == '\\') {
                plain += next;
                ++i;
                continue;
            }
        }
        plain += c;
    }
    return plain;
}
