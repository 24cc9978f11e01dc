#!/usr/bin/env python3
"""Prints the CPython interpreters that the module can be built for, one path a line.

The system's own comes first, then the others by version: one for each version from 3.6 to 3.13
that has its headers. They are looked for on the PATH, in /usr/bin and among pyenv's.

    find_pythons.py          the system's, and every other
    find_pythons.py 3.6 ...  the system's, and those of the given versions that are found
"""

import glob
import os
import shutil
import subprocess
import sys

VERSIONS = ["3.%d" % minor for minor in range(6, 14)]

# No shim and no virtual environment: what counts is where the headers are.
QUERY = """
import os, platform, sys, sysconfig
header = os.path.join(sysconfig.get_paths()["include"], "Python.h")
good = (platform.python_implementation() == "CPython" and os.path.exists(header)
        and not sysconfig.get_config_var("Py_GIL_DISABLED"))
print("%d.%d" % sys.version_info[:2] if good else "")
"""


def usable_version(executable):
    """The version of an interpreter that the module can be built for, else an empty text."""
    try:
        answer = subprocess.run([executable, "-c", QUERY], stdout=subprocess.PIPE,
                                stderr=subprocess.DEVNULL, stdin=subprocess.DEVNULL,
                                universal_newlines=True, timeout=60)
    except (OSError, subprocess.TimeoutExpired):
        return ""
    version = answer.stdout.strip()
    return version if answer.returncode == 0 and version in VERSIONS else ""


def pyenv_root():
    if os.environ.get("PYENV_ROOT"):
        return os.environ["PYENV_ROOT"]
    pyenv = shutil.which("pyenv")
    if pyenv:
        answer = subprocess.run([pyenv, "root"], stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                                universal_newlines=True)
        return answer.stdout.strip()
    return os.path.expanduser("~/.pyenv")


def candidates():
    root = pyenv_root()
    directories = ["/usr/bin", "/usr/local/bin"]
    directories += [path for path in os.environ.get("PATH", "").split(os.pathsep)
                    if path and not path.startswith(os.path.join(root, "shims"))]
    yield "/usr/bin/python3"
    for directory in directories:
        yield os.path.join(directory, "python3")
        for version in VERSIONS:
            yield os.path.join(directory, "python" + version)
    for path in sorted(glob.glob(os.path.join(root, "versions", "3.*", "bin", "python3"))):
        yield path


def find(wanted):
    """(version, path) of each interpreter, the system's first."""
    found = {}
    system = None
    for path in candidates():
        version = usable_version(path) if os.access(path, os.X_OK) else ""
        if not version:
            continue
        system = system or version
        found.setdefault(version, path)
    others = [version for version in VERSIONS if version in found and version != system]
    chosen = ([system] if system else []) + [version for version in others
                                             if not wanted or version in wanted]
    return [(version, found[version]) for version in chosen]


def main():
    for _, path in find(sys.argv[1:]):
        print(path)


if __name__ == "__main__":
    main()
