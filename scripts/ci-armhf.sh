#!/usr/bin/env bash
# The phone's-CPU step of CI: install the cross tools, cross-build for 32-bit ARM (armhf) and
# run every test program, the golden das-sim scripts and the demo under qemu-arm
# (docs/embedded.md). About 2 minutes of installing on a fresh machine, 3 to 4 of building
# on two free cores and under one of testing.
# Usage: scripts/ci-armhf.sh
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install-armhf-deps.sh
cmake --preset armhf >/dev/null
cmake --build --preset armhf
ctest --preset armhf
