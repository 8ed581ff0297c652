#include "tools/zqsubtitle/CommandText.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "zqplatform/objbase.h"
#include "zqplatform/status.h"
#include "zqplatform/utf.h"

std::string FormatGuid(const GUID& guid) {
    WCHAR text[40] = {};
    StringFromGUID2(guid, text, 40);
    return ZQUtf8FromUtf16(text);
}

std::string DescribeStatus(HRESULT hr) {
    WCHAR text[512] = {};
    ZQGetStatusText(hr, text, 512);
    const char* name = ZQGetStatusName(hr);
    char number[16];
    std::snprintf(number, sizeof number, "0x%08" PRIX32, static_cast<uint32_t>(hr));
    const std::string head = name != nullptr ? std::string(name) + " (" + number + ")" : std::string(number);
    return head + ": " + ZQUtf8FromUtf16(text);
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
