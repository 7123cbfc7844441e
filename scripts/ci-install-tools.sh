#!/usr/bin/env bash
# Installs the analysis tools the hardening steps of CI need (clang 14 with its sanitizer and
# libFuzzer runtimes, clang-tidy, cppcheck); only the Debian packages that are missing.
set -euo pipefail

PACKAGES=(clang-14 libclang-rt-14-dev clang-tidy-14 cppcheck)

missing=()
for package in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done
if [ "${#missing[@]}" -gt 0 ]; then
    echo "Installing: ${missing[*]}"
    sudo=""
    [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get update -qq
    $sudo env DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
