#!/usr/bin/env python3
"""Checks that the Windows backend covers every function of the platform headers.

On Windows a function that the headers declare is either Windows' own, listed
in win32/binding/BoundDeclarations.h (whose build compares each with
Windows' declaration), or made by the backend itself (win32/ or common/).
A function declared inside `#if !defined(_WIN32)` doesn't exist there. A
function in neither set would reach the linker unchecked or not at all;
one in both would be made twice.

Usage: check_win32_binding.py PLATFORM_FOLDER. Prints each problem and exits
1 if there is any.
"""

import pathlib
import re
import sys

DECLARATION = re.compile(r"ZQPLATFORM_API\s+[^;(]*?\b(\w+)\s*\(")
BOUND = re.compile(r"\bX\((\w+)\)")
CONDITION = re.compile(r"^\s*#\s*(if|ifdef|ifndef|elif|else|endif)\b(.*)$")


def condition_kind(rest):
    """"windows" for a test of defined(_WIN32), "not_windows" for its negation."""
    if re.search(r"!\s*defined\s*\(?\s*_WIN32", rest):
        return "not_windows"
    if re.search(r"defined\s*\(?\s*_WIN32", rest):
        return "windows"
    return "other"


def windows_declarations(header_text):
    """Names declared for Windows: those outside the non-Windows branches."""
    names = set()
    # One entry per open #if: its kind and whether its current branch leaves Windows out.
    stack = []
    for line in header_text.splitlines():
        condition = CONDITION.match(line)
        if condition:
            keyword, rest = condition.groups()
            if keyword in ("if", "ifdef", "ifndef"):
                kind = condition_kind(rest)
                stack.append([kind, kind == "not_windows"])
            elif keyword == "elif":
                stack[-1] = [condition_kind(rest), condition_kind(rest) == "not_windows"]
            elif keyword == "else":
                stack[-1][1] = stack[-1][0] == "windows"
            elif keyword == "endif":
                stack.pop()
            continue
        if line.lstrip().startswith("#"):
            continue
        if not any(left_out for _, left_out in stack):
            names.update(DECLARATION.findall(line))
    return names


def made_by_backend(sources, name):
    definition = re.compile(r"^[A-Za-z_][\w\s\*:]*\b" + re.escape(name) + r"\s*\([^;{]*\)\s*\{", re.M)
    return any(definition.search(text) for text in sources)


def main():
    platform = pathlib.Path(sys.argv[1]).resolve()
    declared = set()
    for header in sorted((platform / "include" / "zqplatform").glob("*.h")):
        declared |= windows_declarations(header.read_text(encoding="utf-8"))
    bound_text = (platform / "win32" / "binding" / "BoundDeclarations.h").read_text(encoding="utf-8")
    functions_list = bound_text[bound_text.index("#define ZQ_BOUND_FUNCTIONS"):bound_text.index("#define ZQ_BOUND_RECORDS")]
    bound = set(BOUND.findall(functions_list))
    sources = [path.read_text(encoding="utf-8")
               for folder in ("win32", "common") for path in sorted((platform / folder).rglob("*.cpp"))
               if "binding" not in path.parts]
    made = {name for name in declared if made_by_backend(sources, name)}

    problems = []
    for name in sorted(declared - bound - made):
        problems.append(f"{name}: declared for Windows, but neither bound to Windows' own nor made by win32/")
    for name in sorted(bound & made):
        problems.append(f"{name}: bound to Windows' own and made by win32/ as well")
    for name in sorted(bound - declared):
        problems.append(f"{name}: bound in BoundDeclarations.h, but no header declares it for Windows")
    for problem in problems:
        print(problem)
    print(f"{len(declared)} functions declared for Windows: {len(bound & declared)} bound, {len(made)} made; "
          f"{len(problems)} problems")
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main())
