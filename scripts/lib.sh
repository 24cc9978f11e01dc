# Sourced by demo, check and .ci/run, which run at the root of the repository.

if [ -t 1 ]; then
    bold=$'\e[1m' red=$'\e[31m' green=$'\e[32m' plain=$'\e[0m'
else
    bold='' red='' green='' plain=''
fi

say() {
    printf '%s==> %s%s\n' "$bold" "$*" "$plain"
}

# configure PRESET [OPTION...]: quiet, unless it fails.
configure() {
    local preset=$1 log
    log=$(mktemp)
    if ! cmake --preset "$@" >"$log" 2>&1; then
        cat "$log" >&2
        rm -f "$log"
        echo "Configuring the $preset build failed." >&2
        return 1
    fi
    rm -f "$log"
}

# run_tests PRESET [CTEST-OPTION...]: one line a test; the report is build/PRESET/tests.xml.
run_tests() {
    local preset=$1 progress=()
    shift
    [ -t 1 ] && progress=(--progress)
    rm -f "build/$preset/tests.xml"
    ctest --test-dir "build/$preset" -j "$(nproc)" --output-on-failure --no-tests=error \
        --output-junit tests.xml "${progress[@]}" "$@"
}

results=()
failures=0

# step TITLE COMMAND...: runs it, and remembers how it ended for the summary.
step() {
    local title=$1 begun=$SECONDS
    shift
    say "$title"
    if "$@"; then
        results+=("${green}passed${plain}  $title ($((SECONDS - begun)) s)")
    else
        results+=("${red}FAILED${plain}  $title ($((SECONDS - begun)) s)")
        failures=$((failures + 1))
        return 1
    fi
}

# skipped TITLE WHY
skipped() {
    results+=("${red}not run${plain} $1: $2")
    failures=$((failures + 1))
}

# summary TITLE PRESET...: every step, then the count of the tests of these presets.
summary() {
    local title=$1
    shift
    echo
    say "$title"
    printf '    %s\n' "${results[@]}"
    python3 scripts/test_totals.py "$@" || true
}
