#!/usr/bin/env bash
# Runs COMMAND on a private X server (Xvfb) of its own, without a window manager.
# Usage: with-x-display.sh COMMAND [ARGS...]
set -euo pipefail

exec 3< <(Xvfb -displayfd 1 -screen 0 1280x800x24 -nolisten tcp 2>/dev/null)
xvfb_pid=$!
read -r -t 10 display <&3 || { echo "with-x-display.sh: Xvfb did not start." >&2; exit 1; }
trap 'kill "$xvfb_pid" 2>/dev/null || true' EXIT
export DISPLAY=":$display"
"$@"
