#!/bin/bash
# Installs the Debian 12 packages that building and testing Tavrol need, and
# only those that are missing, so that a machine that has them all needs no
# network. Run as root, or as a user who may use sudo.
#
#   bash scripts/install-deps.sh            the build and the test suite
#   bash scripts/install-deps.sh --fuzz     also clang, for -DTAVROL_FUZZ=ON
#   bash scripts/install-deps.sh --bench    also task-spooler, for the benchmarks
set -euo pipefail

packages=(cmake ninja-build g++ qt6-base-dev libqt6sql6-sqlite libsqlite3-dev
          qt6-qpa-plugins procps xvfb xdotool valgrind slurm-wlm munge)
for option in "$@"; do
    case "$option" in
    --fuzz) packages+=(clang libclang-rt-14-dev) ;;
    --bench) packages+=(task-spooler) ;;
    *) echo "install-deps.sh: unknown option $option" >&2; exit 2 ;;
    esac
done

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q '^install ok installed$'; then
        missing+=("$package")
    fi
done
if [ ${#missing[@]} -eq 0 ]; then
    exit 0
fi

run_as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    elif command -v sudo >/dev/null 2>&1; then
        sudo "$@"
    else
        echo "install-deps.sh: run as root to install: ${missing[*]}" >&2
        exit 1
    fi
}

echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
run_as_root apt-get update
run_as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y --no-install-recommends \
    "${missing[@]}"
