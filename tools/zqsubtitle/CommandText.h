// Helpers shared by the subcommands (statuses: hosts/common/StatusDescription.h):
// GUIDs, JSON strings, the help option. (UTF-8 and UTF-16: zqplatform/utf.h.)
#pragma once

#include <string>

#include "hosts/common/StatusDescription.h"
#include "zqplatform/types.h"

/// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
std::string FormatGuid(const GUID& guid);

/// Whether an argument after the subcommand's name is "--help" or "-h".
bool AsksForHelp(int argc, char** argv);

/// `text` as a quoted JSON string: quotes, backslashes and control characters escaped.
std::string JsonString(const std::string& text);
