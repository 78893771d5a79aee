#!/usr/bin/env bash
# Runs COMMAND with a desktop that has a system tray: a private X server (Xvfb) and a
# private session bus on which a StatusNotifierWatcher with a registered host answers.
# Usage: with-system-tray.sh COMMAND [ARGS...]
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

exec "$here/../support/with-x-display.sh" dbus-run-session -- bash -c '
    /usr/bin/python3 "$1/status-notifier-watcher.py" &
    watcher=$!
    for _ in $(seq 100); do
        dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
            org.freedesktop.DBus.NameHasOwner string:org.kde.StatusNotifierWatcher 2>/dev/null |
            grep -q "boolean true" && break
        sleep 0.05
    done
    shift
    "$@"
    status=$?
    kill "$watcher" 2>/dev/null || true
    exit $status' with-system-tray "$here" "$@"
