#!/usr/bin/env bash
# Runs one test command in a private world: a fresh temporary HOME with its own XDG
# folders, and optionally an unlocked gnome-keyring on a private D-Bus session bus, or
# as another local account.
# Usage: run-isolated.sh [--as ACCOUNT] [--keyring] -- COMMAND [ARGS...]
set -euo pipefail

as=""
keyring=0
while [ $# -gt 0 ]; do
    case "$1" in
        --as) as=$2; shift 2 ;;
        --keyring) keyring=1; shift ;;
        --) shift; break ;;
        *) echo "run-isolated.sh: unknown option '$1'." >&2; exit 2 ;;
    esac
done

if [ -n "$as" ] && [ "$(id -un)" != "$as" ]; then
    args=()
    [ "$keyring" -eq 1 ] && args+=(--keyring)
    # runuser keeps the environment (sanitizer options, QT_QPA_PLATFORM) but for HOME,
    # which the inner run replaces anyway.
    exec runuser -u "$as" -- "$0" "${args[@]}" -- "$@"
fi

world=$(mktemp -d "${TMPDIR:-/tmp}/velmox-test.XXXXXX")
cleanup() {
    chmod -R u+rwX "$world" 2>/dev/null || true
    rm -rf "$world"
}
trap cleanup EXIT

export HOME=$world/home
export XDG_CONFIG_HOME=$HOME/.config
export XDG_DATA_HOME=$HOME/.local/share
export XDG_CACHE_HOME=$HOME/.cache
export XDG_RUNTIME_DIR=$world/run
export TMPDIR=$world/tmp
mkdir -p "$HOME" "$XDG_CONFIG_HOME" "$XDG_DATA_HOME" "$XDG_CACHE_HOME" "$XDG_RUNTIME_DIR" "$TMPDIR"
chmod 700 "$XDG_RUNTIME_DIR"
unset DBUS_SESSION_BUS_ADDRESS DISPLAY WAYLAND_DISPLAY

if [ "$keyring" -eq 1 ]; then
    # The keyring daemon belongs to the private bus and ends with it.
    exec dbus-run-session -- bash -c '
        printf "velmox-keyring" | gnome-keyring-daemon --unlock --components=secrets >/dev/null
        # The daemon claims its bus name shortly after it returns; wait for it, or a
        # client would activate a second, locked daemon.
        for _ in $(seq 100); do
            dbus-send --session --print-reply --dest=org.freedesktop.DBus / \
                org.freedesktop.DBus.NameHasOwner string:org.freedesktop.secrets 2>/dev/null |
                grep -q "boolean true" && break
            sleep 0.05
        done
        exec "$@"' velmox-keyring "$@"
fi
"$@"
