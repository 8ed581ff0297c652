// The FILE[:LANGUAGE[:LABEL]] arguments of the subcommands that load tracks.
#pragma once

#include <string>

struct TrackArgument {
    std::string path;
    std::string language;
    /// A language was given, even an empty one.
    bool hasLanguage = false;
    /// The file's name without its folders when none was given.
    std::string label;
    /// A label was given, even an empty one.
    bool hasLabel = false;
};

/// Splits `argument` at its colons, unless a file of that very name exists.
TrackArgument ParseTrackArgument(const std::string& argument);
