#!/bin/bash
# Installs what is missing, builds Tavrol with its tests and runs the whole
# suite in parallel. Every test has its own home directory, settings and
# ports, and none needs a display or the network.
#   BUILD_DIR   the build directory (default: build, beside src/)
#   BUILD_TYPE  the CMake build type (default: Release)
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_dir=${BUILD_DIR:-$root/build}

bash "$root/scripts/install-deps.sh"
BUILD_DIR=$build_dir bash "$root/scripts/build.sh" -DTAVROL_BUILD_TESTS=ON
ctest --test-dir "$build_dir" --parallel "$(nproc)" --output-on-failure
