#!/usr/bin/env bash
# Configures and builds Velmox. Usage: scripts/build.sh [release|debug|asan] [ninja targets...]
# Each flavour has its own folder: build/<flavour>.
set -euo pipefail
cd "$(dirname "$0")/.."
flavour=${1:-release}
shift || true
case "$flavour" in
    release) cmake_args=(-DCMAKE_BUILD_TYPE=RelWithDebInfo) ;;
    debug) cmake_args=(-DCMAKE_BUILD_TYPE=Debug) ;;
    asan) cmake_args=(-DCMAKE_BUILD_TYPE=Debug -DVELMOX_SANITIZE=ON -DVELMOX_BUILD_BENCHMARKS=OFF) ;;
    *) echo "Unknown build flavour '$flavour': use release, debug or asan." >&2; exit 2 ;;
esac
dir=build/$flavour
# Paths relative to the checkout, so that a clone elsewhere reuses the compiler cache.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
if [ ! -f "$dir/build.ninja" ]; then
    cmake -S . -B "$dir" -G Ninja "${cmake_args[@]}"
fi
cmake --build "$dir" -- "$@"
