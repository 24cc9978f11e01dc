#!/usr/bin/env bash
# Installs the packages that a build needs and this machine lacks; silent where none is missing.
# With --lint also those of the format and lint checks, with --windows the cross-compiler and Wine.
# For Debian 12, Ubuntu 22.04 and later.
set -euo pipefail

packages=(g++ cmake ninja-build python3-dev pybind11-dev libgtest-dev libbenchmark-dev git ccache)
for option in "$@"; do
    case $option in
        --lint) packages+=(clang-format clang-tidy) ;;
        --windows) packages+=(g++-mingw-w64-x86-64-posix wine64) ;;
        *) echo "setup.sh: unknown option '$option'" >&2 && exit 2 ;;
    esac
done

if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
    for tool in c++ cmake ninja python3; do
        if ! command -v "$tool" >/dev/null; then
            echo "This system has no apt-get. Install by hand what answers to: ${packages[*]}" >&2
            exit 1
        fi
    done
    exit 0
fi

missing=()
for package in "${packages[@]}"; do
    state=$(dpkg-query -W -f '${db:Status-Abbrev}' "$package" 2>/dev/null || true)
    [ "${state:0:2}" = ii ] || missing+=("$package")
done
[ ${#missing[@]} -eq 0 ] && exit 0

as_root=()
if [ "$(id -u)" -ne 0 ]; then
    if ! command -v sudo >/dev/null; then
        echo "Packages are missing, and this user can't install them. As root, run:" >&2
        echo "    apt-get install ${missing[*]}" >&2
        exit 1
    fi
    as_root=(sudo)
fi

log=$(mktemp)
trap 'rm -f "$log"' EXIT
install_packages() {
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update &&
        "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
            apt-get install -y --no-install-recommends "${missing[@]}"
}
echo "Installing missing packages: ${missing[*]}"
if ! install_packages >"$log" 2>&1; then
    cat "$log" >&2
    echo "The packages could not be installed." >&2
    exit 1
fi
