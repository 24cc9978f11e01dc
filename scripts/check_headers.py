#!/usr/bin/env python3
"""Fails where a public header doesn't compile alone, or includes anything but standard C++ and
other public headers."""

import concurrent.futures
import os
import subprocess

from source_tree import ROOT, STANDARD_HEADERS, includes, report, tracked_files

PUBLIC = "core/include/"
FLAGS = ["-std=c++17", "-fsyntax-only", "-x", "c++", "-Wall", "-Wextra", "-Wpedantic", "-Wshadow",
         "-Wconversion", "-Werror", "-I", os.path.join(ROOT, "core", "include")]


def is_private(name):
    return os.path.basename(name).startswith("P_")


def bad_includes(path):
    for number, name, angled in includes(path):
        public = name.startswith("fus/") and not is_private(name)
        if not (name in STANDARD_HEADERS if angled else public):
            yield "%s:%d: a public header includes %s" % (path, number, name)


def compile_errors(path):
    """Compiles a source that has nothing but the header in it, twice."""
    source = '#include "%s"\n' % path[len(PUBLIC):] * 2
    compiler = os.environ.get("CXX", "c++")
    run = subprocess.run([compiler] + FLAGS + ["-"], input=source, stdout=subprocess.PIPE,
                         stderr=subprocess.STDOUT, universal_newlines=True)
    return [] if run.returncode == 0 else ["%s doesn't compile alone:\n%s" % (path, run.stdout)]


def main():
    headers = [path for path in tracked_files(".h")
               if path.startswith(PUBLIC) and not is_private(path)]
    faults = [fault for path in headers for fault in bad_includes(path)]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for errors in pool.map(compile_errors, headers):
            faults += errors
    report("Headers", "%d public headers compile alone" % len(headers), faults)


if __name__ == "__main__":
    main()
