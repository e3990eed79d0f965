#!/bin/bash
# Installs what is missing, builds Tavrol and starts it. Without arguments it
# opens the window when there is a display, and otherwise starts at the
# console prompt ("tavrol -console"), which needs none; any arguments are
# handed to tavrol instead, e.g. "bash scripts/run.sh -console" or
# "bash scripts/run.sh project.tvrl".
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_dir=${BUILD_DIR:-$root/build}

bash "$root/scripts/install-deps.sh"
BUILD_DIR=$build_dir bash "$root/scripts/build.sh" -DTAVROL_BUILD_TESTS=OFF \
    -DTAVROL_BUILD_BENCH=OFF >&2

if [ $# -eq 0 ] && [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
    set -- -console
fi
exec "$build_dir/src/tavrol" "$@"
