#!/usr/bin/env python3
"""Fails where a source above the platform floor knows an operating system: a test for one by the
preprocessor or at run time, or a header that is neither standard C++, nor ours, nor of a library
that its folder may use. Within the floor each system has sources of its own, which the build picks:
a condition there would hide one system's code in another's source."""

import re

from source_tree import STANDARD_HEADERS, includes, read, report, tracked_files

PLATFORM_FLOOR = "core/src/platform/"

SYSTEM_MACRO = re.compile(
    r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b("
    r"_?_?WIN(?:32|64|NT)_?_?|_WIN(?:32|64)|__MINGW\w*|__CYGWIN__|__?_?linux_?_?|__?_?unix_?_?|"
    r"__APPLE__|__MACH__|__ANDROID__|__\w*BSD__|_POSIX\w*|__GLIBC__)\b")

# The system's number is passed on to whoever asks for it, and compared with nothing.
SYSTEM_CONSTANT = re.compile(r"\bSYSTEM_(?:WINDOWS|LINUX)\b")

OWN = re.compile(r"^(fus|fussim|platform|support)/[\w/]+\.h$")

# What each folder may include beside standard headers and the project's own.
LIBRARIES = {
    "python/": re.compile(r"^(pybind11/[\w/]+\.h|Python\.h|frameobject\.h)$"),
    "tests/": re.compile(r"^gtest/[\w-]+\.h$"),
    "benchmarks/": re.compile(r"^(benchmark/benchmark|Python)\.h$"),
}


def may_include(path, name, angled):
    if angled:
        return name in STANDARD_HEADERS or any(
            path.startswith(folder) and pattern.match(name)
            for folder, pattern in LIBRARIES.items())
    return "/" not in name or OWN.match(name)


def main():
    faults = []
    conditions = 0
    files = tracked_files(".h", ".cpp", ".h.in", ".cpp.in")
    for path in files:
        in_floor = path.startswith(PLATFORM_FLOOR)
        for number, line in enumerate(read(path).splitlines(), 1):
            if SYSTEM_MACRO.match(line) or (not in_floor and SYSTEM_CONSTANT.search(line)):
                conditions += 1
                faults.append("%s:%d: asks for the operating system: %s"
                              % (path, number, line.strip()))
        if in_floor:
            continue
        for number, name, angled in includes(path):
            if not may_include(path, name, angled):
                faults.append("%s:%d: includes %s, which is not standard C++" % (path, number, name))
    report("Platform", "%d conditions on the operating system in %d files"
           % (conditions, len(files)), faults)


if __name__ == "__main__":
    main()
