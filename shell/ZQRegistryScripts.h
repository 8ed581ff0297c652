// The registry scripts of the module: the one per class (resource REGISTRY
// 101) and the one of the type library, built from its description.
#pragma once

#include <string>
#include <string_view>

/// The script every class registers with, under its own replacements:
/// CLSID, PROGID, VIPROGID, NAME, TYPELIB and MODULE.
std::u16string_view ZQClassRegistryScript() noexcept;

/// The script of the type library: TypeLib\{LIBID}\1.0 with the module as the
/// library's file, and Interface\{IID} for each interface of the library.
/// Replacements: MODULE and HELPDIR.
std::u16string ZQTypeLibraryRegistryScript();
