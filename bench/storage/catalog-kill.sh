#!/usr/bin/env bash
# Usage: catalog-kill.sh BUILD_DIR [KILLS_PER_KIND]
# Kills a program that writes catalogs, scan caches and checkpoints in a loop with SIGKILL at
# random moments (default 80 kills of each kind), and checks after every kill that the file
# on disk is one of the two complete versions it writes, never a mix or a part. Also counts
# the unfinished temporary files that kills leave beside it.
set -euo pipefail
build=${1:?name the build folder, e.g. build/release}
kills=${2:-80}
driver="$build/bench/storage/catalog_kill_driver"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failures=0
for kind in catalog cache checkpoint; do
    folder="$work/$kind"
    declare -A seen=()
    for ((i = 0; i < kills; i++)); do
        "$driver" write "$kind" "$folder" &
        pid=$!
        # 20 to 1500 ms: before the first write has ended, and into later ones at any point.
        delay=$((20 + RANDOM % 1480))
        sleep "$((delay / 1000)).$(printf '%03d' $((delay % 1000)))"
        kill -KILL "$pid"
        wait "$pid" 2>/dev/null || true
        if result=$("$driver" verify "$kind" "$folder"); then
            seen[$result]=$(( ${seen[$result]:-0} + 1 ))
        else
            echo "$kind kill $i: $result" >&2
            failures=$((failures + 1))
        fi
    done
    partial=$(find "$folder" -name '*.partial' | wc -l)
    printf '%-10s %d kills:' "$kind" "$kills"
    for result in "${!seen[@]}"; do printf ' %s: %d,' "$result" "${seen[$result]}"; done
    printf ' left-over partial files: %d\n' "$partial"
    unset seen
done
echo "files neither old nor new: $failures"
[ "$failures" -eq 0 ]
