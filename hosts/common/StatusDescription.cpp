#include "hosts/common/StatusDescription.h"

#include <cinttypes>
#include <cstdio>

#include "zqplatform/status.h"
#include "zqplatform/utf.h"

std::string DescribeStatus(HRESULT hr) {
    WCHAR text[512] = {};
    ZQGetStatusText(hr, text, 512);
    const char* name = ZQGetStatusName(hr);
    char number[16];
    std::snprintf(number, sizeof number, "0x%08" PRIX32, static_cast<uint32_t>(hr));
    const std::string head = name != nullptr ? std::string(name) + " (" + number + ")" : std::string(number);
    return head + ": " + ZQUtf8FromUtf16(text);
}
