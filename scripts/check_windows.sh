#!/usr/bin/env bash
# Cross-builds the C++ side for 64-bit Windows, runs its tests under Wine, and lets the two systems
# talk to each other. Part of ./check --windows.
set -euo pipefail
cd "$(dirname "$(readlink -f "$0")")/.."
source scripts/lib.sh

scripts/setup.sh --windows
rm -f build/windows/tests.xml

# What stands on this side of the conversation, and the tests whose names are compared.
build_native() {
    configure release -DFUS_BUILD_TESTS=ON &&
        cmake --build build/release --target fus-simulator KORVANE core_tests simulator_tests \
            tool_tests
}
build_windows() {
    configure windows && cmake --build build/windows
}

if step "Building for Linux" build_native && step "Building for Windows" build_windows; then
    step "Every source and test is in the Windows build" \
        python3 scripts/check_tests.py build/windows || true
    step "The Windows programs need nothing beside them" \
        python3 scripts/check_imports.py build/windows || true
    step "The same tests on both systems" \
        python3 scripts/check_same_tests.py build/release build/windows || true
    step "Testing under Wine" run_tests windows || true
else
    skipped "Testing under Wine" "the build failed"
fi

summary "Summary of ./check --windows" windows
exit $((failures != 0))
