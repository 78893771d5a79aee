#!/usr/bin/env bash
# Creates the two local accounts the privilege tests run as: an administrator with a
# known password and an account outside sudoers. Both are throwaway test accounts.
set -euo pipefail

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

admin=velmox-test-admin
plain=velmox-test-user
for account in "$admin" "$plain"; do
    id "$account" >/dev/null 2>&1 || as_root useradd --create-home --shell /bin/sh "$account"
done
as_root usermod -aG sudo "$admin"
# The same throwaway password as tests/support/TestAccounts.h; chpasswd reads it on standard input.
printf '%s:%s\n%s:%s\n' "$admin" 'velmox-Test-Pa55' "$plain" 'velmox-Test-Pa55' | as_root chpasswd
