#!/usr/bin/env bash
# clang-tidy over the library, the simulator and the tools, with the commands of the release build. The
# module's sources are left out: a lint of pybind11 takes longer than all the rest.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
configured=build/release/compile_commands.json
[ -f "$configured" ] || { echo "$configured is missing: build the release preset first" >&2; exit 1; }

# run-clang-tidy tells too much where all is well.
log=$(mktemp)
trap 'rm -f "$log"' EXIT
# Clang's own warnings are left to the compiler of the build (-w).
if run-clang-tidy -quiet -j "$(nproc)" -p build/release -extra-arg=-w \
        "$PWD/(core|simulator|tools)/.*\.cpp" >"$log" 2>/dev/null; then
    echo "clang-tidy has nothing to say."
else
    sed 's/\x1b\[[0-9;]*m//g' "$log" | grep -v -e '^clang-tidy' -e '^$' || true
    exit 1
fi
