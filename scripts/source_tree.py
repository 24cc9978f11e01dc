"""What the repository checks share: the tracked C++ files and their includes."""

import os
import re
import subprocess
import sys

ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))

# C++17's headers, with the C library's under their C++ names.
STANDARD_HEADERS = frozenset("""
    algorithm any array atomic bitset charconv chrono codecvt complex condition_variable deque
    exception execution filesystem forward_list fstream functional future initializer_list iomanip
    ios iosfwd iostream istream iterator limits list locale map memory memory_resource mutex new
    numeric optional ostream queue random ratio regex scoped_allocator set shared_mutex sstream
    stack stdexcept streambuf string string_view strstream system_error thread tuple type_traits
    typeindex typeinfo unordered_map unordered_set utility valarray variant vector
    cassert cctype cerrno cfenv cfloat cinttypes climits clocale cmath csetjmp csignal cstdarg
    cstddef cstdint cstdio cstdlib cstring ctime cuchar cwchar cwctype
    """.split())

INCLUDE = re.compile(r'^\s*#\s*include\s*(["<])([^">]+)[">]', re.MULTILINE)


def tracked_files(*suffixes):
    """Tracked files, and new ones that aren't ignored, as paths from the root."""
    listed = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"],
                            cwd=ROOT, stdout=subprocess.PIPE, check=True, universal_newlines=True)
    return [path for path in sorted(set(listed.stdout.splitlines()))
            if path.endswith(suffixes) and os.path.exists(os.path.join(ROOT, path))]


def read(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return file.read()


def includes(path):
    """(line number, name, whether it stands in angle brackets) of each include."""
    text = read(path)
    for match in INCLUDE.finditer(text):
        line = text.count("\n", 0, match.start(2)) + 1
        yield line, match.group(2), match.group(1) == "<"


def report(title, checked, faults):
    """Says how a check went, and ends the program accordingly."""
    for fault in faults:
        print(fault)
    if faults:
        print("%s: %d faults" % (title, len(faults)))
        sys.exit(1)
    print("%s: %s, all good" % (title, checked))
