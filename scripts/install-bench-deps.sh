#!/usr/bin/env bash
# Installs the Debian packages the benchmarks need beyond the developer build
# (./dev deps): Google Benchmark, and the phone number library the number conversions
# are compared against. Installs only what is missing, so it is cheap to run every time.
set -euo pipefail

PACKAGES=(libbenchmark-dev libphonenumber-dev)

missing=()
for package in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
[ "${#missing[@]}" -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
sudo=""
[ "$(id -u)" -eq 0 ] || sudo="sudo"
# A list that fails to refresh (a mirror in sync, a foreign architecture) need not stop
# the install: the lists that did refresh usually hold these packages.
$sudo env DEBIAN_FRONTEND=noninteractive apt-get update -qq || echo "apt-get update reported errors; installing from the lists at hand" >&2
$sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
