#!/usr/bin/env bash
# Builds the libFuzzer targets (fuzz/) with clang and runs each one.
# Usage: scripts/fuzz.sh [RUNS]   RUNS inputs per target (default 20000: a smoke run for CI).
# A target's seed inputs, when it has any, live in tests/data/fuzz/<Target>/.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-20000}
scripts/build.sh fuzz
failed=0
for target in build/fuzz/fuzz/*Fuzz; do
    name=$(basename "$target")
    corpus=$(mktemp -d)
    seeds=()
    [ -d "tests/data/fuzz/$name" ] && seeds=("tests/data/fuzz/$name")
    echo "== $name: $runs inputs"
    if ! "$target" -runs="$runs" -max_len=65536 -timeout=10 -rss_limit_mb=2048 \
            -print_final_stats=0 -artifact_prefix="build/fuzz/$name-" "$corpus" "${seeds[@]}" \
            >"build/fuzz/$name.log" 2>&1; then
        echo "$name found a fault; its log: build/fuzz/$name.log" >&2
        tail -40 "build/fuzz/$name.log" >&2
        failed=1
    fi
    rm -rf "$corpus"
done
exit $failed
