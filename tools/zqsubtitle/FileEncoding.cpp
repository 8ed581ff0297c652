#include "tools/zqsubtitle/FileEncoding.h"

#include <algorithm>
#include <string_view>

#include "zqplatform/text.h"

namespace {

// The code pages the platform converts besides UTF-8, the usual suspects first.
constexpr UINT kCodePages[] = {1252, 1250, 1251, 1253, 1254, 1255, 1256, 1257, 1258, 874, 932, 936, 949, 950};

std::u16string Decode(std::string_view bytes, UINT codePage) {
    if (bytes.empty())
        return {};
    const int size = static_cast<int>(bytes.size());
    const int length = MultiByteToWideChar(codePage, 0, bytes.data(), size, nullptr, 0);
    std::u16string text(length > 0 ? static_cast<size_t>(length) : 0, u'\0');
    if (length > 0)
        MultiByteToWideChar(codePage, 0, bytes.data(), size, text.data(), length);
    return text;
}

std::u16string DecodeUtf16(std::string_view bytes, bool bigEndian) {
    std::u16string text;
    text.reserve(bytes.size() / 2);
    for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
        const auto first = static_cast<unsigned char>(bytes[i]);
        const auto second = static_cast<unsigned char>(bytes[i + 1]);
        text.push_back(static_cast<char16_t>(bigEndian ? (first << 8 | second) : (second << 8 | first)));
    }
    return text;
}

/// Every line of every cue text, as UTF-16; the lines the decoded file must hold.
std::vector<std::u16string> CueLines(const std::vector<std::string>& cueTexts) {
    std::vector<std::u16string> lines;
    for (const std::string& text : cueTexts) {
        size_t start = 0;
        while (start <= text.size()) {
            const size_t end = std::min(text.find('\n', start), text.size());
            if (end > start)
                lines.push_back(Decode(std::string_view(text).substr(start, end - start), CP_UTF8));
            start = end + 1;
        }
    }
    return lines;
}

bool Reproduces(const std::u16string& decoded, const std::vector<std::u16string>& lines) {
    return std::all_of(lines.begin(), lines.end(),
                       [&](const std::u16string& line) { return decoded.find(line) != std::u16string::npos; });
}

bool IsSevenBit(std::string_view bytes) {
    return std::all_of(bytes.begin(), bytes.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

FileEncoding FindFileEncoding(const std::string& bytes, const std::vector<std::string>& cueTexts,
                              UINT languageCodePage) {
    const std::vector<std::u16string> lines = CueLines(cueTexts);
    if (lines.empty())
        return {"undetermined", 0};
    const std::string_view all(bytes);
    // A byte-order mark decides before anything else is looked at.
    if (all.starts_with("\xEF\xBB\xBF"))
        return {Reproduces(Decode(all.substr(3), CP_UTF8), lines) ? "UTF-8" : "undetermined", 0};
    if (all.starts_with("\xFF\xFE"))
        return {Reproduces(DecodeUtf16(all.substr(2), false), lines) ? "UTF-16 LE" : "undetermined", 0};
    if (all.starts_with("\xFE\xFF"))
        return {Reproduces(DecodeUtf16(all.substr(2), true), lines) ? "UTF-16 BE" : "undetermined", 0};
    if (IsSevenBit(all))
        return {"7-bit text", 0};
    if (Reproduces(Decode(all, CP_UTF8), lines))
        return {"UTF-8", 0};
    std::vector<UINT> codePages;
    if (languageCodePage != 0)
        codePages.push_back(languageCodePage);
    for (UINT codePage : kCodePages) {
        if (codePage != languageCodePage)
            codePages.push_back(codePage);
    }
    for (UINT codePage : codePages) {
        if (IsValidCodePage(codePage) && Reproduces(Decode(all, codePage), lines))
            return {"code page", codePage};
    }
    return {"undetermined", 0};
}
