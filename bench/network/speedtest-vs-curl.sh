#!/usr/bin/env bash
# Measures the paced loopback speed-test server three ways: its set rate, `velmox speedtest`,
# and curl moving the same amount of data in each direction, and reports the figures side by
# side with the differences.
#
# Usage: speedtest-vs-curl.sh VELMOX_BINARY
#   RATE (default 80000000) bits per second for the server, SECONDS_EACH (default 5) per direction,
#   RUNS (default 3) rounds.
set -euo pipefail

velmox=${1:?give the path of the velmox executable}
here=$(cd "$(dirname "$0")" && pwd)
server_script=$here/../../tests/network/paced_speed_server.py
rate=${RATE:-80000000}
seconds=${SECONDS_EACH:-5}
runs=${RUNS:-3}

world=$(mktemp -d)
server=""
cleanup() {
    [ -n "$server" ] && kill "$server" 2>/dev/null
    rm -rf "$world"
}
trap cleanup EXIT

# A private settings file: the history of the real user stays untouched.
export HOME=$world XDG_CONFIG_HOME=$world/config XDG_DATA_HOME=$world/data
mkdir -p "$XDG_CONFIG_HOME/Velmox"
printf '[General]\nspeedTestDuration=%s\n' "$seconds" > "$XDG_CONFIG_HOME/Velmox/Velmox.conf"

python3 "$server_script" --rate "$rate" > "$world/port" &
server=$!
for _ in $(seq 50); do
    grep -q PORT "$world/port" 2>/dev/null && break
    sleep 0.1
done
url="http://127.0.0.1:$(awk '{print $2}' "$world/port")"

# curl moves as many bytes as the server sends in the measured time.
bytes=$(python3 -c "print(int($rate / 8 * $seconds))")
head -c "$bytes" /dev/urandom > "$world/body"

printf '%-6s %14s %14s %14s %14s\n' round "velmox down" "curl down" "velmox up" "curl up"
for round in $(seq "$runs"); do
    ours=$("$velmox" speedtest --json --server "$url")
    curl_down=$(curl -s -o /dev/null -w '%{speed_download}' "$url/__down?bytes=$bytes")
    curl_up=$(curl -s -o /dev/null -H 'Content-Type: application/octet-stream' \
        --data-binary @"$world/body" -w '%{speed_upload}' "$url/__up")
    python3 - "$round" "$rate" "$ours" "$curl_down" "$curl_up" <<'PY'
import json, sys
round_, rate, ours, curl_down, curl_up = sys.argv[1:]
rate = float(rate)
ours = json.loads(ours)
figures = [ours["dlValue"], float(curl_down) * 8, ours["ulValue"], float(curl_up) * 8]
print(f"{round_:<6} " + " ".join(f"{value / 1e6:10.2f} Mbps" for value in figures))
off = lambda value, reference: f"{(value - reference) / reference * 100:+.1f} %"
print(f"{'':<6} vs set rate {rate / 1e6:.0f} Mbps: velmox down {off(figures[0], rate)}, "
      f"up {off(figures[2], rate)}; curl down {off(figures[1], rate)}, up {off(figures[3], rate)}")
print(f"{'':<6} velmox vs curl: down {off(figures[0], figures[1])}, up {off(figures[2], figures[3])}")
PY
done
