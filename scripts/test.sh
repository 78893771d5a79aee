#!/usr/bin/env bash
# Sets up, builds and runs every test. Usage: scripts/test.sh [release|asan]
set -euo pipefail
cd "$(dirname "$0")/.."
flavour=${1:-release}
scripts/setup.sh
scripts/test-accounts.sh
scripts/build.sh "$flavour"
cd "build/$flavour"
ctest --output-on-failure --timeout 600 -j "$(nproc)"
