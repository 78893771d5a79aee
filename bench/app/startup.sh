#!/usr/bin/env bash
# Start-up time, idle processor use and resident memory of the windowed app, offscreen.
#   bench/app/startup.sh [BUILD_FOLDER]     (default: build/release)
# Start-up: median of 10 cold starts from process start until the main window has been
# painted (VELMOX_STARTUP_PROBE makes Velmox quit right after that paint; the exit is
# included, so the figure is an upper bound). Caches are dropped before each start when
# the machine allows it. Idle: processor time of the open window over 60 seconds.
set -euo pipefail
cd "$(dirname "$0")/../.."
build=${1:-build/release}
velmox=$(realpath "$build/velmox")
seconds=${IDLE_SECONDS:-60}

world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
export HOME=$world XDG_CONFIG_HOME=$world/.config XDG_DATA_HOME=$world/.local/share \
       XDG_CACHE_HOME=$world/.cache XDG_RUNTIME_DIR=$world/run QT_QPA_PLATFORM=offscreen
mkdir -p "$XDG_RUNTIME_DIR" && chmod 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS

prepare=true
if sync && echo 3 2>/dev/null >/proc/sys/vm/drop_caches; then
    prepare='sync; echo 3 > /proc/sys/vm/drop_caches'
else
    echo "(caches cannot be dropped here: warm starts)"
fi
"$velmox" --version >/dev/null # first-run settings and migrations out of the way
VELMOX_STARTUP_PROBE=1 hyperfine --runs 10 --prepare "$prepare" --export-json "$world/start.json" \
    --style none "$velmox" >/dev/null
python3 - "$world/start.json" <<'PY'
import json, sys
r = json.load(open(sys.argv[1]))["results"][0]
print(f"start-up to first paint: median {r['median']*1000:.0f} ms "
      f"(min {r['min']*1000:.0f}, max {r['max']*1000:.0f}, 10 runs)")
PY

"$velmox" >/dev/null 2>&1 &
pid=$!
sleep 3
ticks() { awk '{print $14 + $15}' "/proc/$pid/stat"; }
before=$(ticks)
sleep "$seconds"
after=$(ticks)
rss=$(awk '/VmRSS/ {print $2}' "/proc/$pid/status")
kill "$pid"
wait "$pid" 2>/dev/null || true
hz=$(getconf CLK_TCK)
python3 -c "
used = ($after - $before) / $hz
print(f'idle with the window open: {100 * used / $seconds:.3f}% of one core over $seconds s')
print(f'resident memory after start-up: {$rss / 1024:.1f} MiB')"
