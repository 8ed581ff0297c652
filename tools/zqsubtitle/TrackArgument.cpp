#include "tools/zqsubtitle/TrackArgument.h"

#include <filesystem>

namespace {

std::string FileName(const std::string& path) {
    const size_t slash = path.rfind('/');
    return slash != std::string::npos ? path.substr(slash + 1) : path;
}

}  // namespace

TrackArgument ParseTrackArgument(const std::string& argument) {
    TrackArgument track;
    std::error_code ignored;
    const size_t colon = argument.find(':');
    if (colon == std::string::npos || std::filesystem::exists(argument, ignored)) {
        track.path = argument;
    } else {
        track.path = argument.substr(0, colon);
        const std::string rest = argument.substr(colon + 1);
        const size_t second = rest.find(':');
        track.hasLanguage = true;
        track.language = rest.substr(0, second);
        if (second != std::string::npos) {
            track.hasLabel = true;
            track.label = rest.substr(second + 1);
        }
    }
    if (!track.hasLabel)
        track.label = FileName(track.path);
    return track;
}
