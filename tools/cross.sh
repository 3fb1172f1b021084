#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Builds the library and its tests for an embedded board's processor and runs the
# tests under emulation. Compiler and libraries live in a Debian tree of their own
# below build/cross, since the development packages of two architectures do not
# always stand beside each other; nothing is installed on the machine.
# Usage: cross.sh ARCHITECTURE [CTEST_ARGUMENT...]   (as root; arm64 or armhf)

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
# Runs in the namespaces, as their root: this script calls itself for it.
enter() {
    local here=$1 emulator=$2 root=$1/root
    shift 2
    mount --rbind "$root" "$root"
    mount --rbind "$PWD" "$root/src"
    mount --bind -o remount,ro "$root/src"
    mount --bind "$here/out" "$root/out"
    mount --rbind /dev "$root/dev"
    mount -t tmpfs tmpfs "$root/dev/shm"
    mount -t tmpfs tmpfs "$root/tmp"
    mount -t proc proc "$root/proc"
    mount -t binfmt_misc none "$root/proc/sys/fs/binfmt_misc" \
        || { echo 'cross: this kernel has no emulators per namespace (Linux 6.7 has)' >&2; exit 1; }
    chroot "$root" sh -c "cat /usr/lib/binfmt.d/$emulator.conf >/proc/sys/fs/binfmt_misc/register"
    exec chroot "$root" env -i HOME=/tmp PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 \
        CCACHE_DIR=/out/ccache "$@"
}

if [[ "${1-}" == --enter ]]; then
    shift
    enter "$@"
fi

arch=${1-}
[[ $# -gt 0 ]] && shift
case $arch in
    arm64) triplet=aarch64-linux-gnu emulator=qemu-aarch64 ;;
    armhf) triplet=arm-linux-gnueabihf emulator=qemu-arm ;;
    *) echo 'cross: the architectures are arm64 and armhf' >&2; exit 2 ;;
esac
[[ "$(id -u)" == 0 ]] || { echo 'cross: makes a Debian tree and needs root for it' >&2; exit 1; }
here=$PWD/build/cross/$arch root=$PWD/build/cross/$arch/root
suite=bookworm mirror=http://deb.debian.org/debian

# What emulation cannot carry, one pattern of test names a line, with the reason.
not_carried=(
    'package_.*: they try the installation with compiler, qmake and pkg-config of this machine'
    'tst_faults: it is not built, since the library that it preloads would come into the emulator'
)

# The second architecture's libraries beside the tools of this machine's.
make_root() {
    [[ -e $here/root.complete ]] && return
    rm -rf "$root"
    mkdir -p "$here"
    echo "Making a Debian $suite tree in $root"
    mmdebstrap --quiet --variant=apt --architectures="$(dpkg --print-architecture),$arch" \
        --include="g++-$triplet,qtbase5-dev:$arch,qtbase5-dev-tools,cmake,make,ninja-build,ccache" \
        --include=pkg-config,qemu-user-static,nginx-light,mount,procps,tzdata \
        "$suite" "$root" "$mirror"
    mkdir -p "$root/src" "$root/out"
    touch "$here/root.complete"
}

# Runs a command in the tree, in namespaces of its own: mounts, processes and shared
# memory go with it, and the kernel's table of emulators is a private one (Linux 6.7).
inside() {
    local gate=$here/gate pid status=0
    rm -f "$gate"
    mkfifo "$gate"
    # shellcheck disable=SC2016 # $0 and $@ are those of the shell that is started
    unshare --user bash -c 'read -r <"$0"; exec unshare --mount --ipc --pid --fork --kill-child "$@"' \
        "$gate" tools/cross.sh --enter "$here" "$emulator" "$@" &
    pid=$!
    while [[ "$(readlink "/proc/$pid/ns/user")" == "$(readlink /proc/self/ns/user)" ]]; do sleep 0.05; done
    echo '0 0 65536' >"/proc/$pid/uid_map"
    echo '0 0 65536' >"/proc/$pid/gid_map"
    echo go >"$gate"
    wait "$pid" || status=$?
    rm -f "$gate"
    return "$status"
}

make_root
mkdir -p "$here/out"
g++ -std=c++17 -O2 -static tools/without_pidfd.cpp -o "$here/out/without_pidfd"

inside cmake -S /src -B /out/build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DCMAKE_TOOLCHAIN_FILE="/src/cmake/toolchains/$triplet.cmake" \
    -DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DZECORE_STRICT_WARNINGS=ON >/dev/null
inside cmake --build /out/build --parallel "$(nproc)"

excluded='^(none'
for test in "${not_carried[@]}"; do
    printf 'not run under emulation: %s\n' "$test"
    excluded+="|${test%%:*}"
done
inside /out/without_pidfd ctest --test-dir /out/build --output-on-failure \
    --exclude-regex "$excluded)\$" "$@"
