#!/usr/bin/env bash
# Installs what Velmox needs on Debian 12 and fetches the pinned LZFSE sources.
# Safe to run again: it installs only what is missing and keeps a verified download.
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(
    # build
    cmake ninja-build g++ ccache pkg-config python3-pip
    qt6-base-dev qt6-base-dev-tools qt6-svg-dev qtkeychain-qt6-dev libgl-dev libxcb1-dev
    libgtest-dev libgmock-dev libbenchmark-dev libicu-dev
    libplist-dev
    libxss-dev
    # run time
    libqt6svg6 qt6-qpa-plugins libsecret-1-0 adwaita-icon-theme
    zsh sudo pkexec procps util-linux smartmontools nftables iproute2 dbus dbus-x11 btrfs-progs
    # tests and benchmarks
    gnome-keyring xvfb xauth passwd fdisk e2fsprogs hyperfine python3-dbus python3-gi appstream desktop-file-utils dunst
    # fuzzing: clang with libFuzzer
    clang-16 libclang-rt-16-dev
)

as_root() {
    if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

missing=()
for p in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    as_root apt-get update -qq
    as_root env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

# The reference LZFSE library ships its C sources inside the source distribution
# of its Python bindings; CMake builds them as a static library.
lzfse_version=0.4.1
lzfse_sha256=bb0b899b3830c02fdf3dbde48ea59611833f366fef836e5c32cf8145134b7d3d
lzfse_dir=.deps/lzfse
if [ ! -f "$lzfse_dir/src/lzfse.h" ]; then
    tmp=$(mktemp -d)
    trap 'rm -rf "$tmp"' EXIT
    python3 -m pip download --quiet --no-deps --no-binary :all: \
        "pyliblzfse==$lzfse_version" -d "$tmp"
    archive="$tmp/pyliblzfse-$lzfse_version.tar.gz"
    echo "$lzfse_sha256  $archive" | sha256sum --check --quiet
    tar -xzf "$archive" -C "$tmp"
    rm -rf "$lzfse_dir"
    mkdir -p "$lzfse_dir"
    cp -r "$tmp/pyliblzfse-$lzfse_version/lzfse/src" "$lzfse_dir/src"
    cp "$tmp/pyliblzfse-$lzfse_version/LICENSE.lzfse" "$lzfse_dir/"
fi
