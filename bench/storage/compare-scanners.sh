#!/usr/bin/env bash
# Times `velmox scan` (chosen worker count and 2 workers) against du on the same warm trees,
# side by side in one run, and reports wall, user and system time, peak memory and memory per scanned node.
#
# Usage: compare-scanners.sh VELMOX_BINARY [TREE...]
#   Default trees: a generated tree of 1,000,000 files in 100,000 folders (made once under
#   $VELMOX_BENCH_TREE, default /var/tmp/velmox-bench-tree) and /usr.
#   RUNS (default 5) runs per tool; the median wall time is reported.
#   Compare user + system time too when the machine is busy: wall time then mostly
#   measures the wait for a processor.
set -euo pipefail

velmox=${1:?give the path of the velmox executable}
shift
here=$(cd "$(dirname "$0")" && pwd)
big=${VELMOX_BENCH_TREE:-/var/tmp/velmox-bench-tree}
runs=${RUNS:-5}
trees=("$@")
if [ ${#trees[@]} -eq 0 ]; then
    if [ ! -d "$big" ]; then
        echo "Creating the benchmark tree under $big (once)..." >&2
        python3 "$here/make-tree.py" "$big" 100000 10 >&2
    fi
    trees=("$big" /usr)
fi

tools=(velmox velmox-w2 du)
command_for() { # tool tree
    case $1 in
        velmox) echo "$velmox scan $2 --top 0" ;;
        velmox-w2) echo "$velmox scan $2 --top 0 --workers 2" ;;
        du) echo "/usr/bin/du -s $2" ;;
    esac
}

timing=$(mktemp)
trap 'rm -f "$timing"' EXIT
measure() { # tool tree -> "wall user sys maxrss_kb" of one run
    /usr/bin/time -o "$timing" -f "%e %U %S %M" $(command_for "$1" "$2") >/dev/null 2>&1 || true
    tail -1 "$timing"
}

median() { sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'; }

for tree in "${trees[@]}"; do
    summary=$("$velmox" scan "$tree" --json --top 0)
    nodes=$(echo "$summary" | python3 -c 'import json,sys; print(json.load(sys.stdin)["items"] + 1)')
    workers=$(echo "$summary" | python3 -c 'import json,sys; print(json.load(sys.stdin)["workers"])')
    # Warm the caches with every tool once (WARM=0 when they are warm already).
    if [ "${WARM:-1}" = 1 ]; then
        for tool in "${tools[@]}"; do measure "$tool" "$tree" >/dev/null; done
    fi
    declare -A wall=() user=() sys=() rss=()
    samples=$(mktemp)
    # Runs interleave the tools so that a busy moment on the machine hits all of them.
    for _ in $(seq "$runs"); do
        for tool in "${tools[@]}"; do
            echo "$tool $(measure "$tool" "$tree")" >>"$samples"
        done
    done
    echo
    echo "== $tree: $nodes nodes; velmox chose $workers worker(s); median of $runs runs"
    printf '%-10s %8s %8s %8s %10s %10s %s\n' tool wall_s user_s sys_s peak_MB bytes/node "velmox faster by"
    for tool in "${tools[@]}"; do
        wall[$tool]=$(awk -v t="$tool" '$1==t {print $2}' "$samples" | median)
        user[$tool]=$(awk -v t="$tool" '$1==t {print $3}' "$samples" | median)
        sys[$tool]=$(awk -v t="$tool" '$1==t {print $4}' "$samples" | median)
        rss[$tool]=$(awk -v t="$tool" '$1==t {print $5}' "$samples" | median)
    done
    for tool in "${tools[@]}"; do
        ratio=$(awk -v a="${wall[$tool]}" -v b="${wall[velmox]}" -v c="${wall[velmox-w2]}" \
            'BEGIN { printf "%.2fx / %.2fx (w2)", a / b, a / c }')
        printf '%-10s %8s %8s %8s %10.1f %10.0f %s\n' "$tool" "${wall[$tool]}" "${user[$tool]}" \
            "${sys[$tool]}" "$(awk -v k="${rss[$tool]}" 'BEGIN {print k / 1024}')" \
            "$(awk -v k="${rss[$tool]}" -v n="$nodes" 'BEGIN {print k * 1024 / n}')" "$ratio"
    done
    rm -f "$samples"
done
