#!/bin/bash
# Processor time and memory of the whole application left idle on the Dashboard.
# Starts an offscreen `velmox` (its window opens on the Dashboard) in a private HOME, lets
# it settle, then samples /proc/<pid>/stat (utime + stime) over CPU_SECONDS and VmRSS every
# MEMORY_STEP seconds over MEMORY_SECONDS (ten minutes unless told).
#   idle-dashboard.sh VELMOX_BINARY [CPU_SECONDS=60] [MEMORY_SECONDS=600] [MEMORY_STEP=30]
set -euo pipefail

binary=${1:?usage: idle-dashboard.sh VELMOX_BINARY [CPU_SECONDS] [MEMORY_SECONDS] [MEMORY_STEP]}
cpu_seconds=${2:-60}
memory_seconds=${3:-600}
memory_step=${4:-30}
settle_seconds=8

home=$(mktemp -d)
cleanup() {
    local status=$?
    if [[ -n ${pid:-} ]] && kill "$pid" 2>/dev/null; then
        wait "$pid" 2>/dev/null || true # ends by the signal just sent
    fi
    rm -rf "$home"
    exit "$status"
}
trap cleanup EXIT
mkdir -p "$home"/{config,data,cache,runtime}
chmod 700 "$home/runtime"

HOME=$home XDG_CONFIG_HOME=$home/config XDG_DATA_HOME=$home/data XDG_CACHE_HOME=$home/cache \
    XDG_RUNTIME_DIR=$home/runtime QT_QPA_PLATFORM=offscreen "$binary" >"$home/out.log" 2>&1 &
pid=$!

ticks_per_second=$(getconf CLK_TCK)
# Fields 14 and 15 of /proc/<pid>/stat; the command name (field 2) may hold spaces.
cpu_ticks() { sed -E 's/^.*\) //' "/proc/$pid/stat" | awk '{ print $12 + $13 }'; }
rss_kib() { awk '/^VmRSS:/ { print $2 }' "/proc/$pid/status"; }

sleep "$settle_seconds"
kill -0 "$pid" 2>/dev/null || { echo "velmox exited early:"; cat "$home/out.log"; exit 1; }

start_ticks=$(cpu_ticks)
start_time=$(date +%s.%N)
sleep "$cpu_seconds"
end_ticks=$(cpu_ticks)
end_time=$(date +%s.%N)
awk -v t="$((end_ticks - start_ticks))" -v hz="$ticks_per_second" -v s="$start_time" -v e="$end_time" \
    'BEGIN { printf "processor: %.2f s of CPU in %.1f s = %.2f%% of one core\n", t / hz, e - s, 100 * t / hz / (e - s) }'

echo "memory (VmRSS, KiB) every ${memory_step} s over ${memory_seconds} s:"
samples=()
for ((elapsed = 0; elapsed <= memory_seconds; elapsed += memory_step)); do
    kill -0 "$pid" 2>/dev/null || { echo "velmox exited after ${elapsed} s:"; cat "$home/out.log"; exit 1; }
    samples+=("$(rss_kib)")
    printf '  %4d s  %s\n' "$elapsed" "${samples[-1]}"
    ((elapsed < memory_seconds)) && sleep "$memory_step"
done
max=$(printf '%s\n' "${samples[@]}" | sort -n | tail -1)
echo "  first ${samples[0]}, last ${samples[-1]}, max $max, change $((samples[-1] - samples[0])) KiB"
