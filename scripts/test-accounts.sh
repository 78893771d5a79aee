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

# One root line the administrator account may run without a password: a root-owned script
# that echoes its standard input, for the tests that make sure the password never reaches a
# root line's input. The rule names exactly the root shell text that SudoRunner builds for
# that script and nothing else, so every other sudo run of the account still asks.
helper=/usr/local/libexec/velmox-test/echo-input
as_root install -d -m 755 "$(dirname "$helper")"
printf '#!/bin/sh\nexec /bin/cat\n' | as_root tee "$helper" >/dev/null
as_root chmod 755 "$helper"
rule=/etc/sudoers.d/velmox-test
# sudoers wants '=' and ':' in arguments escaped.
root_line="exec </dev/null; PATH\\=/usr/bin\\:/bin\\:/usr/sbin\\:/sbin; export PATH; $helper"
printf '%s ALL=(root) NOPASSWD: /bin/sh -c %s\n' "$admin" "$root_line" | as_root tee "$rule.new" >/dev/null
as_root chmod 440 "$rule.new"
as_root visudo -cqf "$rule.new"
as_root mv "$rule.new" "$rule"
