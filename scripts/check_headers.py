#!/usr/bin/env python3
"""Fails where a public header includes anything but standard C++ and other public headers, and
where a tool includes a private one: tools are applications. That each public header compiles alone
is seen by the build (public_headers_alone)."""

import os

from source_tree import STANDARD_HEADERS, includes, report, tracked_files

PUBLIC = "core/include/"
TOOLS = "tools/"


def is_private(name):
    return os.path.basename(name).startswith("P_")


def bad_includes(path):
    for number, name, angled in includes(path):
        public = name.startswith("fus/") and not is_private(name)
        if not (name in STANDARD_HEADERS if angled else public):
            yield "%s:%d: a public header includes %s" % (path, number, name)


def bad_includes_of_tool(path):
    for number, name, angled in includes(path):
        own = "/" not in name
        public = name.startswith("fus/")
        if is_private(name) or not (name in STANDARD_HEADERS if angled else own or public):
            yield "%s:%d: a tool includes %s" % (path, number, name)


def main():
    headers = [path for path in tracked_files(".h")
               if path.startswith(PUBLIC) and not is_private(path)]
    faults = [fault for path in headers for fault in bad_includes(path)]
    tools = [path for path in tracked_files(".h", ".cpp") if path.startswith(TOOLS)]
    faults += [fault for path in tools for fault in bad_includes_of_tool(path)]
    report("Headers", "%d public headers and %d sources of tools include public ones alone"
           % (len(headers), len(tools)), faults)


if __name__ == "__main__":
    main()
