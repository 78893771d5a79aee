#!/usr/bin/env bash
# Runs one libFuzzer target for a long time and reports what it covered.
# Usage: bench/fuzz/run.sh TARGET [RUNS]   e.g. bench/fuzz/run.sh CatalogReaderFuzz 10000000
# Findings are written to build/fuzz/TARGET-crash-* and the run fails.
set -euo pipefail
cd "$(dirname "$0")/../.."
target=${1:?Usage: bench/fuzz/run.sh TARGET [RUNS]}
runs=${2:-1000000}
scripts/build.sh fuzz "$target"
corpus=build/fuzz/corpus/$target
mkdir -p "$corpus"
seeds=()
[ -d "tests/data/fuzz/$target" ] && seeds=("tests/data/fuzz/$target")
start=$(date +%s)
"build/fuzz/fuzz/$target" -runs="$runs" -max_len=65536 -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix="build/fuzz/$target-" "$corpus" "${seeds[@]}"
echo "$target: $runs inputs in $(( $(date +%s) - start )) s, no crash and no sanitizer report."
