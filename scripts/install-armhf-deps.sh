#!/usr/bin/env bash
# Installs what the armhf (32-bit ARM, the phone's CPU) cross build and its tests need:
# Debian's cross compiler, GoogleTest for armhf from Debian multiarch, and qemu-arm to run the
# test programs. The armhf build leaves out the host programs (DAS_BUILD_HOST=OFF), so no
# SQLite, JSON or command-line library is needed for it. Non-interactive and
# idempotent: installs only what is missing, waits for the dpkg lock while another apt run
# holds it, and never removes a package.
#
# Usage: scripts/install-armhf-deps.sh
set -euo pipefail

HOST_PACKAGES=(g++-arm-linux-gnueabihf binutils-arm-linux-gnueabihf qemu-user)
# GoogleTest's packages depend on nothing else of armhf's (not even its C library headers:
# the cross compiler brings its own), so they install beside the host's packages.
ARMHF_PACKAGES=(libgtest-dev:armhf libgmock-dev:armhf)

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

missing=()
for package in "${HOST_PACKAGES[@]}" "${ARMHF_PACKAGES[@]}"; do
    installed "$package" || missing+=("$package")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

if ! dpkg --print-foreign-architectures | grep -qx armhf; then
    $SUDO dpkg --add-architecture armhf
fi
# An index that fails to download is not fatal: the armhf libraries come from the main
# suite, and a package that truly cannot be found fails the install below.
$SUDO env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600 update -qq ||
    echo "install-armhf-deps: some package indexes could not be updated; installing from what is there" >&2

echo "install-armhf-deps: installing ${missing[*]}"
with_retry $SUDO "${APT_INSTALL[@]}" "${missing[@]}"
