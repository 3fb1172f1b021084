#!/usr/bin/env bash
# SPDX-FileCopyrightText: 2026 The libZeCore authors
# SPDX-License-Identifier: LGPL-3.0-or-later
#
# Builds the Debian packages from the sources as they are, and checks them.
# Usage: package.sh build     builds into build/packages and runs lintian
#        package.sh check     installs them, builds the consumers, removes them

set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
packages=(libzecore1 libzecore-dev libzecore-doc)
output=$PWD/build/packages

as_root() { if [[ "$(id -u)" == 0 ]]; then "$@"; else sudo "$@"; fi; }
fail() { printf 'package: %s\n' "$*" >&2; exit 1; }

# The source package: the sources of the library, and debian/ beside them.
unpack_sources() {
    local version=$1 tree=$output/libzecore-$1
    rm -rf "$output"
    mkdir -p "$tree"
    tools/files.sh | xargs -0 cp -P --parents -t "$tree"
    tar -C "$output" --sort=name --owner=0 --group=0 --numeric-owner \
        --mtime="@$(dpkg-parsechangelog -S Timestamp)" --exclude="libzecore-$version/debian" \
        -cJf "$output/libzecore_$version.orig.tar.xz" "libzecore-$version"
}

build() {
    local version packaged
    version=$(sed -n 's/^#define ZECORE_VERSION_STR "\(.*\)"$/\1/p' core/ZeCoreGlobal.h)
    packaged=$(dpkg-parsechangelog -S Version)
    [[ "${packaged%-*}" == "$version" ]] \
        || fail "debian/changelog is at $packaged, the library at $version"
    unpack_sources "$version"
    # The tests have a command of their own and need not run once more.
    local options=(DEB_BUILD_PROFILES=nocheck "DEB_BUILD_OPTIONS=nocheck parallel=$(nproc)")
    if command -v ccache >/dev/null; then
        options+=("CCACHE_DIR=$(ccache --get-config cache_dir)" "PATH=/usr/lib/ccache:$PATH")
    fi
    (cd "$output/libzecore-$version" && env "${options[@]}" dpkg-buildpackage -us -uc) >"$output/build.log" 2>&1 \
        || { tail -n 60 "$output/build.log"; fail "the build failed; $output/build.log"; }
    (cd "$output" && ls -- *.deb)
    lintian --allow-root --fail-on error "$output"/*.changes
    echo 'lintian: no errors'
}

installed() { dpkg-query -W -f '${Package}\n' 'libzecore*' 2>/dev/null || true; }

# Stack protector, FORTIFY, read-only relocations and immediate binding. A library is
# position-independent anyway. The mark of control-flow protection is missing from Debian's
# own start files, so the linker drops it: look for its instructions instead.
check_hardening() {
    local library marked
    library=$(readlink -f "$(dpkg --listfiles libzecore1 | grep -m 1 '/libZeCore\.so\.[0-9.]*$')")
    hardening-check --nocfprotection "$library" || fail 'the library is not hardened'
    [[ $(uname -m) == x86_64 ]] || return 0
    marked=$(objdump -d "$library" | grep -c endbr64) || true # grep's status for none
    printf ' Targets of indirect jumps: %d marked\n' "$marked"
    [[ $marked -gt 100 ]] || fail 'the library has no control-flow protection'
}

remove() { as_root dpkg --purge "${packages[@]}" >/dev/null; }

# What the packages bring and take along, whichever system they are tried on.
state() { find /usr/include /usr/lib /usr/share -iname '*zecore*' 2>/dev/null | sort; }

check() {
    local before debs=()
    [[ -z "$(installed)" ]] || fail "already installed, left alone: $(installed)"
    before=$(state)
    for package in "${packages[@]}"; do debs+=("$output/${package}"_*.deb); done
    trap remove EXIT
    as_root dpkg --install "${debs[@]}" >/dev/null
    check_hardening
    tests/package/run_consumers.sh "$PWD" system
    dpkg-query -W -f '${Package} ${Version} depends on ${Depends}\n' "${packages[@]}"
    [[ -s $(dpkg --listfiles libzecore-doc | grep -m 1 '/README\.md$') ]] || fail 'no README.md is installed'
    trap - EXIT
    remove
    [[ "$(state)" == "$before" ]] || fail "left behind: $(state)"
    [[ -z "$(installed)" ]] || fail "still known: $(installed)"
    echo 'Installed, used and removed'
}

case ${1-} in
    build) build ;;
    check) check ;;
    *) sed -n 's/^# \{0,1\}//; 6,7p' "$0"; exit 2 ;;
esac
