#!/usr/bin/env python3
"""Fails where two builds don't have the same C++ tests, by name.

    check_same_tests.py BUILD-DIRECTORY BUILD-DIRECTORY
"""

import json
import os
import subprocess
import sys

from source_tree import report

# What exists on one side only by its nature: the module's tests, those of two systems, and those in
# a terminal.
ONE_SIDED = ("python.", "two_systems.", "fuzz.", "terminal.")


def cpp_tests(build):
    listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, stdout=subprocess.PIPE,
                            check=True, universal_newlines=True)
    names = {test["name"] for test in json.loads(listed.stdout)["tests"]}
    return {name for name in names if not name.startswith(ONE_SIDED)}


def main():
    builds = sys.argv[1:3]
    first, second = (cpp_tests(os.path.abspath(build)) for build in builds)
    faults = ["%s has no test %s" % (builds[0], name) for name in sorted(second - first)]
    faults += ["%s has no test %s" % (builds[1], name) for name in sorted(first - second)]
    if not first:
        faults.append("there are no tests")
    report("Same tests", "%d C++ tests in each build" % len(first), faults)


if __name__ == "__main__":
    main()
