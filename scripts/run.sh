#!/usr/bin/env bash
# Sets up, builds and starts Velmox. Without a display it renders offscreen.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
scripts/build.sh release velmox
if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ] && [ -z "${QT_QPA_PLATFORM:-}" ]; then
    echo "No display found: Velmox starts offscreen."
    export QT_QPA_PLATFORM=offscreen
fi
exec build/release/velmox "$@"
