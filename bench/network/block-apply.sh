#!/usr/bin/env bash
# Times `velmox block apply` with 10,000 rules (5,000 domains, 5,000 addresses and ranges),
# hosts file and nft load included, inside a private network and mount namespace, so the
# machine's own /etc/hosts and firewall stay untouched. Needs root.
# Usage: bench/network/block-apply.sh [path/to/velmox] [runs]
set -euo pipefail
velmox=$(realpath "${1:-build/release/velmox}")
runs=${2:-5}
world=$(mktemp -d)
trap 'rm -rf "$world"' EXIT
export HOME=$world/home XDG_CONFIG_HOME=$world/home/.config XDG_DATA_HOME=$world/home/.local/share
mkdir -p "$XDG_CONFIG_HOME/Velmox"
cp /etc/hosts "$world/hosts"

python3 - "$XDG_CONFIG_HOME/Velmox/Velmox.conf" <<'PY'
import json, sys
rules = []
for i in range(5000):
    rules.append({"value": f"host{i}.site{i % 97}.example", "kind": "domain", "source": "", "enabled": True})
for i in range(4000):
    rules.append({"value": f"10.{i // 250}.{i % 250}.1", "kind": "ip", "source": "", "enabled": True})
for i in range(500):
    rules.append({"value": f"172.{16 + i // 256 % 16}.{i % 256}.0/24", "kind": "range", "source": "", "enabled": True})
for i in range(500):
    rules.append({"value": f"2001:db8:{i:x}::/48", "kind": "range", "source": "", "enabled": True})
text = json.dumps(rules, separators=(",", ":")).replace("\\", "\\\\").replace('"', '\\"')
open(sys.argv[1], "w").write(f'[General]\nnetworkBlockRules="{text}"\n')
PY
echo "rules: $("$velmox" block list --json | grep -c '"value"')"

HOSTS=$world/hosts VELMOX=$velmox RUNS=$runs unshare --net --mount bash -c '
mount --bind "$HOSTS" /etc/hosts
ip link set lo up
for run in $(seq "$RUNS"); do
    start=$(date +%s%N)
    "$VELMOX" block apply
    end=$(date +%s%N)
    echo "apply $run: $(( (end - start) / 1000000 )) ms"
done
echo "names in /etc/hosts: $(grep -c "^0\.0\.0\.0 " /etc/hosts)"
'
