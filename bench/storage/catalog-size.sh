#!/usr/bin/env bash
# Usage: catalog-size.sh BUILD_DIR [TREE]
# Times a catalog write (with its read-back verify) and read of the benchmark tree (made by
# make-tree.py when missing: 100,000 folders of 10 files, 1.1 M nodes), and sets the
# catalog's size beside a plain listing of the same tree (size and path of every entry, as
# find prints them) compressed with gzip -6 and zstd -3.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=${1:?name the build folder, e.g. build/release}
tree=${2:-${VELMOX_BENCH_TREE:-/var/tmp/velmox-bench-tree}}
if [ ! -d "$tree" ]; then
    python3 "$here/make-tree.py" "$tree" 100000 10 >&2
fi
listing=$(mktemp)
trap 'rm -f "$listing"' EXIT
find "$tree" -printf '%s %p\n' > "$listing"
echo "entries:           $(wc -l < "$listing")"
echo "listing, raw:      $(stat -c %s "$listing") bytes"
echo "listing, gzip -6:  $(gzip -6 -c "$listing" | wc -c) bytes"
echo "listing, zstd -3:  $(zstd -3 -q -c "$listing" | wc -c) bytes"
VELMOX_BENCH_TREE=$tree "$build/bench/storage/catalog_bench"
