#!/bin/bash
# Configures and builds Tavrol with CMake and Ninja.
#   BUILD_DIR   the build directory (default: build, beside src/)
#   BUILD_TYPE  the CMake build type (default: Release)
# Further arguments go to cmake's configure step, e.g. -DTAVROL_BUILD_TESTS=OFF.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build_dir=${BUILD_DIR:-$root/build}
build_type=${BUILD_TYPE:-Release}

cmake -S "$root" -B "$build_dir" -G Ninja -DCMAKE_BUILD_TYPE="$build_type" "$@"
cmake --build "$build_dir" --parallel "$(nproc)"
