#!/usr/bin/env bash
# Installs what the armhf (32-bit ARM, the phone's CPU) cross build and its tests need:
# Debian's cross compiler, the armhf libraries from Debian multiarch, and qemu-arm to run
# the test programs. Non-interactive and idempotent: installs only what is missing, waits
# for the dpkg lock while another apt run holds it, and never removes a package.
#
# Usage: scripts/install-armhf-deps.sh
set -euo pipefail

HOST_PACKAGES=(g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf qemu-user
               nlohmann-json3-dev libcli11-dev libsqlite3-dev)
ARMHF_PACKAGES=(libgtest-dev:armhf libgmock-dev:armhf libpugixml-dev:armhf libsqlite3-0:armhf)

# libsqlite3-dev:armhf is the one development package whose dependencies reach the armhf C
# library's headers (libc6-dev:armhf, then linux-libc-dev:armhf, libssl3:armhf, ...). Those
# are Multi-Arch "same" packages that must match the host's copies version for version; when
# the host's copies came from a suite whose armhf index is behind (seen: the security suite),
# apt can only install them by moving host packages. The cross compiler brings its own C
# library headers, so in that case the package's files are unpacked into ARMHF_PREFIX instead
# (cmake/toolchain-armhf.cmake searches there); otherwise it is installed normally.
ARMHF_PREFIX=/opt/das-armhf
UNPACKED_PACKAGES=(libsqlite3-dev libsqlite3-0)

SUDO=""
[ "$(id -u)" -eq 0 ] || SUDO="sudo"
APT_INSTALL=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600
             install -y -qq --no-install-recommends --no-remove)

installed() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q "install ok installed"
}

# Runs an apt command, retrying once: another developer's apt run may hold the package
# database past the lock timeout.
with_retry() {
    "$@" && return 0
    echo "install-armhf-deps: '$*' failed, retrying in 15 s" >&2
    sleep 15
    "$@"
}

sqlite_dev_present() {
    installed libsqlite3-dev:armhf ||
        [ -e "$ARMHF_PREFIX/usr/lib/arm-linux-gnueabihf/libsqlite3.so" ]
}

unpack_into_prefix() {
    local work package
    work="$(mktemp -d)"
    chmod 755 "$work"  # apt downloads as its own unprivileged user
    for package in "${UNPACKED_PACKAGES[@]}"; do
        (cd "$work" && with_retry apt-get download -qq "$package:armhf")
    done
    $SUDO mkdir -p "$ARMHF_PREFIX"
    for deb in "$work"/*.deb; do
        $SUDO dpkg-deb -x "$deb" "$ARMHF_PREFIX"
    done
    rm -rf "$work"
    echo "install-armhf-deps: unpacked ${UNPACKED_PACKAGES[*]} (armhf) into $ARMHF_PREFIX"
}

missing=()
for package in "${HOST_PACKAGES[@]}" "${ARMHF_PACKAGES[@]}"; do
    installed "$package" || missing+=("$package")
done
if [ "${#missing[@]}" -eq 0 ] && sqlite_dev_present; then
    exit 0
fi

if ! dpkg --print-foreign-architectures | grep -qx armhf; then
    $SUDO dpkg --add-architecture armhf
fi
# An index that fails to download is not fatal: the armhf libraries come from the main
# suite, and a package that truly cannot be found fails the install below.
$SUDO env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 update -qq ||
    echo "install-armhf-deps: some package indexes could not be updated; installing from what is there" >&2

if [ "${#missing[@]}" -gt 0 ]; then
    echo "install-armhf-deps: installing ${missing[*]}"
    with_retry $SUDO "${APT_INSTALL[@]}" "${missing[@]}"
fi
if ! sqlite_dev_present; then
    if apt-get install -s --no-install-recommends --no-remove libsqlite3-dev:armhf >/dev/null 2>&1; then
        with_retry $SUDO "${APT_INSTALL[@]}" libsqlite3-dev:armhf
    else
        unpack_into_prefix
    fi
fi
