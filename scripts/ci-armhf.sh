#!/usr/bin/env bash
# The phone's-CPU step of CI: install the cross tools, cross-build the plug-in, the platform
# library and their test programs for 32-bit ARM (armhf; the host programs are left out,
# DAS_BUILD_HOST=OFF) and run every one of those test programs under qemu-arm
# (docs/embedded.md). About 1 to 2 minutes of installing on a fresh machine, 3 of building on
# two free cores and under one of testing.
# Usage: scripts/ci-armhf.sh
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-armhf-deps.sh
cmake --preset armhf >/dev/null
cmake --build --preset armhf
ctest --preset armhf
