#!/usr/bin/env python3
"""Checks that every include in the source tree points down the layers.

The layers, from the bottom (a folder may include its own layer's files and
those of any layer below; folders of one layer don't include each other):

    platform                   the only code that knows the operating system
    support                    worker thread, counted objects, trace log
    interfaces                 the public header and the type information
    subrip                     text file reader, SubRip parser
    subtitle                   cues, tracks, track lists, language table
    mux  dmx  ui               the two objects and the page's logic (peers)
    shell                      the module: class table, registrar, exports
    ui/qt ui/win32 hosts       outside the module: public headers only
    examples tests/scenario
    tests/wine
    tools                      the command line programs
    bench  fuzz                measure and shake everything

Code outside the module reaches the system through the public headers
(zqplatform/, zqsubtitle/) alone; ui/qt and ui/win32 may also include the
view interface of ui/, and tests/wine the header that the IDL compiler makes
of the module's IDL. Tests (any tests/ folder) follow the rules of the folder
they test and may include tests/support. Operating system headers are for
platform/ alone, Windows' headers for platform/win32, ui/win32 and tests/wine
(a Windows client as Windows clients are written), Qt headers for ui/qt
alone, FFmpeg headers for hosts/ffmpeg alone.

Usage: check_layers.py SOURCE_ROOT. Prints each violation and exits 1 if
there is any.
"""

import pathlib
import re
import sys

LAYERS = [
    ["platform"],
    ["support"],
    ["interfaces"],
    ["subrip"],
    ["subtitle"],
    ["mux", "dmx", "ui"],
    ["shell"],
    ["ui/qt", "ui/win32", "hosts/common", "hosts/ffmpeg", "examples", "tests/scenario", "tests/wine"],
    ["tools/zqsubtitle", "tools/zqregsvr"],
    ["bench", "fuzz"],
]
RANK = {folder: rank for rank, folders in enumerate(LAYERS) for folder in folders}
# Folders whose code stands outside the module and sees only public headers
# and what its own side provides.
OUTSIDE = {"ui/qt", "ui/win32", "hosts/common", "hosts/ffmpeg", "examples", "tests/scenario", "tests/wine",
           "tools/zqsubtitle", "tools/zqregsvr"}
OUTSIDE_MAY_INCLUDE = {
    "ui/qt": {"ui"},
    "ui/win32": {"ui"},
    "tools/zqsubtitle": {"hosts/common", "hosts/ffmpeg"},
    "hosts/ffmpeg": {"hosts/common"},
}
TEST_SUPPORT = "tests/support"

OS_HEADERS = re.compile(
    r"^(unistd|pthread|dlfcn|iconv|fcntl|poll|signal|dirent|spawn|syslog|termios|link|elf|pwd|grp)\.h$"
    r"|^(sys|linux|asm|arpa|netinet)/")
WINDOWS_HEADERS = re.compile(
    r"^(windows|winbase|winuser|winreg|winnls|winver|objbase|ole2|oleauto|oaidl|ocidl|olectl|unknwn|objidl|shlobj"
    r"|shellapi|strmif|dshow|commctrl|commdlg|prsht|rpc|rpcndr|guiddef)\.h$", re.I)
WINDOWS_FOLDERS = ("platform/win32/", "ui/win32/", "tests/wine/")
# The header that the IDL compiler makes of the module's IDL, for Windows clients.
IDL_HEADERS = {"ZQSubtitle_h.h"}
QT_HEADERS = re.compile(r"^Q[A-Za-z]+$|^Qt[A-Za-z]*/")
FFMPEG_HEADERS = re.compile(r"^lib(avformat|avcodec|avutil|swscale|swresample|avfilter|avdevice)/")

INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
SOURCE_SUFFIXES = {".h", ".hpp", ".cpp", ".cc", ".inc"}


def folder_of(relative):
    """The layer folder a path belongs to (longest known prefix), or None."""
    parts = relative.split("/")
    for length in (2, 1):
        candidate = "/".join(parts[:length])
        if candidate in RANK or candidate == TEST_SUPPORT:
            return candidate
    return None


def target_of(include, including_folder):
    """The folder that a quoted include names."""
    if include.startswith("zqplatform/"):
        return "platform"
    if include.startswith("zqsubtitle/") or include in IDL_HEADERS:
        return "interfaces"
    folder = folder_of(include)
    if folder is not None:
        return folder
    # The platform's backend includes its private headers by service folder.
    if including_folder == "platform":
        return "platform"
    return None


def is_test(relative):
    return "/tests/" in "/" + relative


def check_quoted(relative, folder, include, problems):
    target = target_of(include, folder)
    if target is None:
        problems.append(f"{relative}: includes \"{include}\", which belongs to no layer")
        return
    if target == folder:
        return
    if target == TEST_SUPPORT:
        if not is_test(relative) and folder not in ("bench", "fuzz"):
            problems.append(f"{relative}: product code includes the test support \"{include}\"")
        return
    if folder == TEST_SUPPORT:
        if target not in ("platform", "interfaces"):
            problems.append(f"{relative}: test support includes \"{include}\" beyond the public headers")
        return
    if folder in OUTSIDE:
        allowed = target in ("platform", "interfaces") and not include.startswith(("platform/", "interfaces/"))
        allowed = allowed or target in OUTSIDE_MAY_INCLUDE.get(folder, set())
        if not allowed:
            problems.append(f"{relative}: outside the module, includes \"{include}\" of {target}/ "
                            "(only the public headers zqplatform/ and zqsubtitle/)")
        return
    if RANK[target] > RANK[folder]:
        problems.append(f"{relative}: includes \"{include}\" of {target}/, a layer above {folder}/")
    elif RANK[target] == RANK[folder]:
        problems.append(f"{relative}: includes \"{include}\" of its peer {target}/")


def check_angled(relative, folder, include, problems):
    if OS_HEADERS.search(include) and folder != "platform":
        problems.append(f"{relative}: includes the operating system header <{include}> outside platform/")
    if WINDOWS_HEADERS.search(include) and not relative.startswith(WINDOWS_FOLDERS):
        problems.append(f"{relative}: includes the Windows header <{include}> outside "
                        + ", ".join(WINDOWS_FOLDERS))
    if QT_HEADERS.search(include) and folder != "ui/qt":
        problems.append(f"{relative}: includes the Qt header <{include}> outside ui/qt/")
    if FFMPEG_HEADERS.search(include) and folder != "hosts/ffmpeg":
        problems.append(f"{relative}: includes the FFmpeg header <{include}> outside hosts/ffmpeg/")


def main():
    root = pathlib.Path(sys.argv[1]).resolve()
    problems = []
    checked = 0
    edges = set()
    for path in sorted(root.rglob("*")):
        if path.suffix not in SOURCE_SUFFIXES or not path.is_file():
            continue
        relative = path.relative_to(root).as_posix()
        if relative.startswith(("build", ".")):
            continue
        folder = folder_of(relative)
        if folder is None:
            problems.append(f"{relative}: lies in no layer folder")
            continue
        checked += 1
        for kind, include in INCLUDE.findall(path.read_text(encoding="utf-8", errors="replace")):
            if kind == "<":
                check_angled(relative, folder, include, problems)
                continue
            check_quoted(relative, folder, include, problems)
            target = target_of(include, folder)
            if target is not None and target != folder and not is_test(relative):
                edges.add((folder, target))
    for a, b in sorted(edges):
        if a < b and (b, a) in edges:
            problems.append(f"{a}/ and {b}/ include each other")
    for problem in problems:
        print(problem)
    print(f"{checked} files checked, {len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
