// The language-to-code-page table that stands in for the locale queries.
#include <algorithm>
#include <cstring>
#include <iterator>
#include <string_view>

#include "zqplatform/text.h"

namespace {

struct LanguageCodePage {
    const char* language;
    UINT codePage;
};

// Sorted by language, for the binary search below.
constexpr LanguageCodePage kLanguages[] = {
    {"af", 1252},  {"ar", 1256},  {"arn", 1252}, {"az", 1254},  {"ba", 1251},  {"be", 1251},  {"bg", 1251},
    {"br", 1252},  {"bs", 1250},  {"ca", 1252},  {"co", 1252},  {"cs", 1250},  {"cy", 1252},  {"da", 1252},
    {"de", 1252},  {"dsb", 1252}, {"el", 1253},  {"en", 1252},  {"es", 1252},  {"et", 1257},  {"eu", 1252},
    {"fa", 1256},  {"fi", 1252},  {"fil", 1252}, {"fo", 1252},  {"fr", 1252},  {"fy", 1252},  {"ga", 1252},
    {"gd", 1252},  {"gl", 1252},  {"gsw", 1252}, {"ha", 1252},  {"haw", 1252}, {"he", 1255},  {"hr", 1250},
    {"hsb", 1252}, {"hu", 1250},  {"id", 1252},  {"ig", 1252},  {"is", 1252},  {"it", 1252},  {"ja", 932},
    {"kk", 1251},  {"kl", 1252},  {"ko", 949},   {"ku", 1256},  {"ky", 1251},  {"lb", 1252},  {"lt", 1257},
    {"lv", 1257},  {"mk", 1251},  {"mn", 1251},  {"moh", 1252}, {"ms", 1252},  {"nb", 1252},  {"nl", 1252},
    {"nn", 1252},  {"no", 1252},  {"nso", 1252}, {"oc", 1252},  {"pl", 1250},  {"pt", 1252},  {"qu", 1252},
    {"rm", 1252},  {"ro", 1250},  {"ru", 1251},  {"rw", 1252},  {"sah", 1251}, {"sd", 1256},  {"se", 1252},
    {"sk", 1250},  {"sl", 1250},  {"sma", 1252}, {"smj", 1252}, {"smn", 1252}, {"sms", 1252}, {"sq", 1250},
    {"sr", 1250},  {"st", 1252},  {"sv", 1252},  {"sw", 1252},  {"tg", 1251},  {"th", 874},   {"tk", 1250},
    {"tn", 1252},  {"tr", 1254},  {"tt", 1251},  {"ug", 1256},  {"uk", 1251},  {"ur", 1256},  {"uz", 1254},
    {"vi", 1258},  {"wo", 1252},  {"xh", 1252},  {"yi", 1255},  {"yo", 1252},  {"zh", 936},   {"zu", 1252},
};

constexpr bool IsSorted() {
    for (size_t i = 1; i < std::size(kLanguages); ++i)
        if (std::string_view(kLanguages[i - 1].language) >= std::string_view(kLanguages[i].language))
            return false;
    return true;
}
static_assert(IsSorted(), "the language table must stay sorted");

constexpr size_t kMaxLanguageLength = 8;

/// The language part of a locale name ("sr" of "sr-Latn-RS"), lower case;
/// false when it isn't 2 to 8 ASCII letters.
bool LanguageOf(const WCHAR* localeName, char (&language)[kMaxLanguageLength + 1]) {
    size_t length = 0;
    for (; localeName[length] != 0 && localeName[length] != u'-' && localeName[length] != u'_'; ++length) {
        WCHAR c = localeName[length];
        if (length == kMaxLanguageLength)
            return false;
        if (c >= u'A' && c <= u'Z')
            c = static_cast<WCHAR>(c - u'A' + u'a');
        if (c < u'a' || c > u'z')
            return false;
        language[length] = static_cast<char>(c);
    }
    language[length] = 0;
    return length >= 2;
}

}  // namespace

extern "C" {

UINT ZQGetLocaleCodePage(const WCHAR* localeName) {
    if (localeName == nullptr)
        return 0;
    char language[kMaxLanguageLength + 1];
    if (!LanguageOf(localeName, language))
        return 0;
    std::string_view key(language);
    const auto* end = std::end(kLanguages);
    const auto* found = std::lower_bound(std::begin(kLanguages), end, key, [](const LanguageCodePage& row, std::string_view k) {
        return std::string_view(row.language) < k;
    });
    return found != end && key == found->language ? found->codePage : 0;
}

}  // extern "C"
