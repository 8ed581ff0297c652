#include "tools/zqsubtitle/CommandText.h"

#include <cstdio>
#include <cstring>

#include "zqplatform/objbase.h"
#include "zqplatform/utf.h"

std::string FormatGuid(const GUID& guid) {
    WCHAR text[40] = {};
    StringFromGUID2(guid, text, 40);
    return ZQUtf8FromUtf16(text);
}

bool AsksForHelp(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0)
            return true;
    }
    return false;
}

std::string JsonString(const std::string& text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += static_cast<char>(c);
        } else if (c == '\n') {
            out += "\\n";
        } else if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
        } else {
            out += static_cast<char>(c);
        }
    }
    return out + "\"";
}
