// The version record as data of the module file, in a section of its own, so
// that a tool reads it without loading the module and without an export:
//     readelf -p .zqversion libZQSubtitle.so
// The version numbers come from the project's one version (CMake).
#include "zqsubtitle/ZQSubtitleVersion.h"

namespace {

// Name=value pairs, each ending in a NUL, in the order of the record.
[[gnu::used, gnu::section(".zqversion")]] constexpr char kVersionSection[] =
    "FileVersion=" ZQSUBTITLE_VERSION_TEXT "\0"
    "ProductVersion=" ZQSUBTITLE_VERSION_TEXT "\0"
    "Comments=Kestrix Subtitle Library\0"
    "FileDescription=Kestrix Subtitle Library\0"
    "ProductName=Kestrix Subtitle Library\0"
    "InternalName=ZQSUBTITLE\0"
    "OriginalFilename=ZQSUBTITLE.DLL\0";

}  // namespace
