#!/usr/bin/env bash
# Fails when a tracked C++ file isn't formatted as .clang-format says; --fix formats them.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
mapfile -t files < <(git ls-files '*.cpp' '*.h')
if [ "${1:-}" = --fix ]; then
    clang-format -i "${files[@]}"
else
    clang-format --dry-run -Werror "${files[@]}"
    echo "${#files[@]} files are formatted."
fi
