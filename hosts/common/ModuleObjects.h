// How the command line reaches the module's objects: as any host does, by
// class id through the registry when the module is registered, else from the
// module that was built or installed beside the program.
#pragma once

#include <string>
#include <string_view>

#include "zqplatform/unknwn.h"

/// Creates an object of the module's class `clsid` and asks it for `iid`.
/// Initialises the calling thread for the component runtime first (once per
/// thread). Tries the registry, then the module in `../lib` relative to
/// the program; the module found that way stays loaded until the process ends.
/// Answers the status of the last attempt on failure, `*out` null.
HRESULT CreateModuleObject(REFCLSID clsid, REFIID iid, void** out);

/// Where the module's objects come from, for --version and diagnostics:
/// "registry" or the path of the module beside the program.
std::string DescribeModuleSource();

/// `relative` (such as "../lib/libZQSubtitleQt.so") from the folder of the
/// running program, where a build or an installation keeps its libraries.
std::u16string PathBesideProgram(std::u16string_view relative);
