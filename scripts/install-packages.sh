#!/usr/bin/env bash
# Installs the Debian packages given that are not installed yet: non-interactive and
# idempotent (nothing to do when all are there), waits for the dpkg lock while another apt
# run holds it, and never removes a package.
# Usage: scripts/install-packages.sh PACKAGE...
set -euo pipefail

missing=()
for package in "$@"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
apt=(env DEBIAN_FRONTEND=noninteractive apt-get -o DPkg::Lock::Timeout=600)
# A list that fails to refresh (a mirror in sync, a foreign architecture's index) need not
# stop the install: a package that truly cannot be found fails the install below.
$sudo "${apt[@]}" update -qq || echo "apt-get update reported errors; installing from the lists at hand" >&2
$sudo "${apt[@]}" install -y -qq --no-install-recommends --no-remove "${missing[@]}"
