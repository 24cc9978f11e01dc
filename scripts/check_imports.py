#!/usr/bin/env python3
"""Fails where a program or library that was built for Windows needs a DLL which isn't part of
Windows.

    check_imports.py BUILD-DIRECTORY
"""

import glob
import os
import re
import subprocess
import sys

from source_tree import report

OBJDUMP = "x86_64-w64-mingw32-objdump"
OF_WINDOWS = {"iphlpapi.dll", "kernel32.dll", "msvcrt.dll", "version.dll", "ws2_32.dll"}

# What is an application of our own library, and says so.
OWN = {"two_systems_client.exe": {"fus.dll"}}


def imports(path):
    listed = subprocess.run([OBJDUMP, "-p", path], stdout=subprocess.PIPE, check=True,
                            universal_newlines=True)
    return {name.lower() for name in re.findall(r"DLL Name: (\S+)", listed.stdout)}


def main():
    binaries = [path for pattern in ("*.exe", "*.dll")
                for path in glob.glob(os.path.join(sys.argv[1], "bin", pattern))]
    faults = [] if binaries else ["nothing has been built"]
    for path in sorted(binaries):
        name = os.path.basename(path)
        for needed in sorted(imports(path) - OF_WINDOWS - OWN.get(name, set())):
            faults.append("%s needs %s" % (name, needed))
    report("Imports", "%d programs and libraries need nothing but Windows" % len(binaries), faults)


if __name__ == "__main__":
    main()
