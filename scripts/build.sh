#!/usr/bin/env bash
# Configures and builds Velmox. Usage: scripts/build.sh [release|debug|asan|fuzz] [ninja targets...]
# Each flavour has its own folder: build/<flavour>.
set -euo pipefail
cd "$(dirname "$0")/.."
flavour=${1:-release}
shift || true
case "$flavour" in
    release) cmake_args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
    debug) cmake_args=(-DCMAKE_BUILD_TYPE=Debug) ;;
    asan) cmake_args=(-DCMAKE_BUILD_TYPE=Debug -DVELMOX_SANITIZE=ON -DVELMOX_BUILD_BENCHMARKS=OFF) ;;
    # The libFuzzer targets under fuzz/, built with clang; no program, tests or benchmarks.
    fuzz) cmake_args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DVELMOX_FUZZ=ON -DVELMOX_BUILD_TESTS=OFF
              -DVELMOX_BUILD_BENCHMARKS=OFF -DCMAKE_C_COMPILER=clang-16 -DCMAKE_CXX_COMPILER=clang++-16) ;;
    *) echo "Unknown build flavour '$flavour': use release, debug, asan or fuzz." >&2; exit 2 ;;
esac
dir=build/$flavour
# Paths relative to the checkout, so that a clone elsewhere reuses the compiler cache.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
if [ ! -f "$dir/build.ninja" ]; then
    cmake -S . -B "$dir" -G Ninja "${cmake_args[@]}"
fi
cmake --build "$dir" -- "$@"
