#!/usr/bin/env python3
"""Adds up the ctest reports of the given presets: 'N passed, N failed', and 'N skipped' if any."""

import os
import sys
import xml.etree.ElementTree as ElementTree

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))


def main(presets):
    passed = failed = skipped = 0
    for preset in presets:
        report = os.path.join(ROOT, "build", preset, "tests.xml")
        if not os.path.exists(report):
            continue
        for case in ElementTree.parse(report).getroot().iter("testcase"):
            status = case.get("status")
            if status == "run":
                passed += 1
            elif status == "fail":
                failed += 1
            else:
                skipped += 1
    print("%d passed, %d failed" % (passed, failed) + (", %d skipped" % skipped if skipped else ""))


if __name__ == "__main__":
    main(sys.argv[1:])
