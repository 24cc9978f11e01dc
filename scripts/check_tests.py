#!/usr/bin/env python3
"""Fails where a source is compiled by nothing, or a test file is run by nothing.

    check_tests.py BUILD-DIRECTORY
"""

import json
import os
import subprocess
import sys

from source_tree import ROOT, report, tracked_files

# The sources of each system, and what a build for Windows leaves out: there is no interpreter to
# build the module for, and nothing is measured there.
SYSTEMS = {"Windows": ("core/src/platform/windows", "tests/support/windows"),
           "others": ("core/src/platform/posix", "tests/support/posix")}
NOT_FOR_WINDOWS = ("python/", "benchmarks/")


def compiled_sources(build):
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        return {os.path.relpath(entry["file"], ROOT) for entry in json.load(file)}


def tests_of_ctest(build):
    listed = subprocess.run(["ctest", "--show-only=json-v1"], cwd=build, stdout=subprocess.PIPE,
                            check=True, universal_newlines=True)
    return [test["name"] for test in json.loads(listed.stdout)["tests"]]


def python_test_faults(tests):
    """Each file has to be run, and on as many interpreters as every other."""
    files = [path for path in tracked_files(".py") if path.startswith("tests/python/")
             and os.path.basename(path).startswith("test_")]
    interpreters = {name.split(".")[1] for name in tests if name.startswith("python.")}
    for path in files:
        name = os.path.splitext(os.path.basename(path))[0]
        for interpreter in sorted(interpreters) or ["any interpreter"]:
            if "python.%s.%s" % (interpreter, name) not in tests:
                yield "%s isn't run on %s" % (path, interpreter)


def terminal_test_faults(tests):
    for path in tracked_files(".py"):
        folder, name = os.path.split(os.path.splitext(path)[0])
        if folder == "tests/terminal" and name.startswith("test_"):
            if "terminal." + name not in tests:
                yield "%s isn't run" % path


def main():
    build = os.path.abspath(sys.argv[1])
    compiled = compiled_sources(build)
    windows = any(path.startswith(SYSTEMS["Windows"]) for path in compiled)
    left_out = (SYSTEMS["others"] + NOT_FOR_WINDOWS) if windows else SYSTEMS["Windows"]
    sources = [path for path in tracked_files(".cpp") if not path.startswith(left_out)]
    faults = ["%s isn't in the build" % path for path in sources if path not in compiled]
    tests = tests_of_ctest(build)
    if not tests:
        faults.append("ctest has no test")
    if not windows:
        faults += python_test_faults(tests)
        faults += terminal_test_faults(tests)
    report("Build", "%d sources are compiled, %d tests are run" % (len(sources), len(tests)), faults)


if __name__ == "__main__":
    main()
