#!/usr/bin/env python3
"""Checks that the Windows backend covers every function of the platform headers.

On Windows a function that the headers declare is either Windows' own, listed
in win32/binding/BoundDeclarations.h (whose build compares each with Windows'
declaration), or made by the backend itself (win32/ or common/); one declared
in a non-Windows branch (`#if !defined(_WIN32)`, or the `#else` of
`#if defined(_WIN32)`) doesn't exist there. A function in neither set would
reach the linker unchecked; one in both would be made twice.

Usage: check_win32_binding.py PLATFORM_FOLDER. Prints each problem and exits
1 if there is any.
"""

import pathlib
import re
import sys

DECLARATION = re.compile(r"ZQPLATFORM_API\s+[^;(]*?\b(\w+)\s*\(")
CONDITION = re.compile(r"^\s*#\s*(if|ifdef|ifndef|elif|else|endif)\b(.*)$")


def windows_declarations(text):
    names = set()
    # Per open #if: [tests _WIN32 (True), its negation (False) or neither (None), branch leaves Windows out].
    stack = []
    for line in text.splitlines():
        condition = CONDITION.match(line)
        if condition:
            keyword, rest = condition.groups()
            windows = None if "_WIN32" not in rest else not re.search(r"!\s*defined", rest)
            if keyword == "ifndef" and windows is not None:
                windows = not windows
            if keyword == "elif":
                stack[-1] = [windows, windows is False]
            elif keyword in ("if", "ifdef", "ifndef"):
                stack.append([windows, windows is False])
            elif keyword == "else":
                stack[-1][1] = stack[-1][0] is True
            else:
                stack.pop()
        elif not line.lstrip().startswith("#") and not any(out for _, out in stack):
            names.update(DECLARATION.findall(line))
    return names


def main():
    platform = pathlib.Path(sys.argv[1]).resolve()
    declared = set()
    for header in (platform / "include" / "zqplatform").glob("*.h"):
        declared |= windows_declarations(header.read_text(encoding="utf-8"))
    bound_text = (platform / "win32" / "binding" / "BoundDeclarations.h").read_text(encoding="utf-8")
    bound = set(re.findall(r"\bX\((\w+)\)", bound_text.split("#define ZQ_BOUND_RECORDS")[0]))
    sources = "\n".join(path.read_text(encoding="utf-8") for folder in ("win32", "common")
                        for path in (platform / folder).rglob("*.cpp") if "binding" not in path.parts)
    made = {name for name in declared if re.search(r"^\w[\w\s*]*\b" + name + r"\s*\([^;{]*\)\s*\{", sources, re.M)}

    problems = [f"{name}: declared for Windows, but neither bound to Windows' own nor made by win32/"
                for name in sorted(declared - bound - made)]
    problems += [f"{name}: bound to Windows' own and made by win32/ as well" for name in sorted(bound & made)]
    problems += [f"{name}: bound in BoundDeclarations.h, but no header declares it for Windows"
                 for name in sorted(bound - declared)]
    print("\n".join(problems + [f"{len(declared)} functions declared for Windows: {len(bound & declared)} bound, "
                                f"{len(made)} made; {len(problems)} problems"]))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
