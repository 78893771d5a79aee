#!/usr/bin/env bash
# Usage: incremental-rescan.sh BUILD_DIR [TREE]
# Incremental rescan against a full scan of the benchmark tree (100,000 folders of 10 files,
# 1.1 M nodes, made by make-tree.py when missing) after 100 scattered changes. The tree is a
# copy of its own, since every run changes it.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?name the build folder, e.g. build/release}
tree=${2:-/var/tmp/velmox-incremental-tree}
if [ ! -d "$tree" ]; then
    python3 "$here/make-tree.py" "$tree" 100000 10 >&2
fi
VELMOX_INCREMENTAL_TREE=$tree "$build/bench/storage/incremental_bench"
