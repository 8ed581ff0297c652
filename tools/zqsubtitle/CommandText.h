// Helpers shared by the subcommands: UTF-8 at the terminal, UTF-16 at
// the module's interfaces, statuses with their names and texts, JSON
// strings, the help option.
#pragma once

#include <string>

#include "zqplatform/types.h"

/// The UTF-16 form of UTF-8 `text`; empty when it doesn't convert.
std::u16string WideFromUtf8(const std::string& text);

/// The UTF-8 form of the NUL-terminated `text`; empty for null.
std::string Utf8FromWide(const WCHAR* text);

/// "{XXXXXXXX-XXXX-XXXX-XXXX-XXXXXXXXXXXX}".
std::string FormatGuid(const GUID& guid);

/// "NAME (0x8007000E): text", or the number and text for a status without a name.
std::string DescribeStatus(HRESULT hr);

/// Whether an argument after the subcommand's name is "--help" or "-h".
bool AsksForHelp(int argc, char** argv);

/// `text` as a quoted JSON string: quotes, backslashes and control characters escaped.
std::string JsonString(const std::string& text);
