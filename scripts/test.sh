#!/usr/bin/env bash
# Sets up, builds and runs every test. Usage: scripts/test.sh [release|asan]
set -euo pipefail
cd "$(dirname "$0")/.."
flavour=${1:-release}
scripts/setup.sh
scripts/test-accounts.sh
scripts/build.sh "$flavour"
# Some tests run as the local test accounts, which must reach the build folder.
if ! runuser -u velmox-test-user -- test -x "$PWD/build/$flavour" 2>/dev/null; then
    if [ "${CI:-}" = true ]; then
        dir=$PWD
        while [ "$dir" != / ]; do chmod o+x "$dir"; dir=$(dirname "$dir"); done
    else
        echo "The test accounts cannot reach $PWD/build/$flavour: give its parent folders o+x, or clone elsewhere." >&2
        exit 1
    fi
fi
if [ "$flavour" = asan ]; then
    export LSAN_OPTIONS="suppressions=$PWD/tests/support/lsan.supp:print_suppressions=0"
    export UBSAN_OPTIONS="print_stacktrace=1"
fi
cd "build/$flavour"
ctest --output-on-failure --timeout 600 -j "$(nproc)"
