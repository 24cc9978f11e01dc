#!/usr/bin/env python3
"""Fails where a source above the platform floor knows an operating system: a test for one by the
preprocessor, or a header that is neither standard C++, nor ours, nor of a library that its folder
may use."""

import re

from source_tree import STANDARD_HEADERS, includes, read, report, tracked_files

PLATFORM_FLOOR = "core/src/platform/"

SYSTEM_MACRO = re.compile(
    r"^\s*#\s*(?:if|ifdef|ifndef|elif)\b.*\b("
    r"_?_?WIN(?:32|64|NT)_?_?|_WIN(?:32|64)|__MINGW\w*|__CYGWIN__|__?_?linux_?_?|__?_?unix_?_?|"
    r"__APPLE__|__MACH__|__ANDROID__|__\w*BSD__|_POSIX\w*|__GLIBC__)\b")

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
    files = [path for path in tracked_files(".h", ".cpp", ".h.in")
             if not path.startswith(PLATFORM_FLOOR)]
    for path in files:
        for number, line in enumerate(read(path).splitlines(), 1):
            match = SYSTEM_MACRO.match(line)
            if match:
                faults.append("%s:%d: asks for the operating system (%s)"
                              % (path, number, match.group(1)))
        for number, name, angled in includes(path):
            if not may_include(path, name, angled):
                faults.append("%s:%d: includes %s, which is not standard C++" % (path, number, name))
    report("Platform", "%d files know no operating system" % len(files), faults)


if __name__ == "__main__":
    main()
