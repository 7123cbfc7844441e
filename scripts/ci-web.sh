#!/usr/bin/env bash
# The browser step of CI: build the workbench and das-sim for node with emscripten (./dev web),
# then its tests: every golden script through das-sim.js under node, compared byte for byte
# with the native expected output, and the page in headless Chromium from file:// (the demo's
# trace equals the native demo's, an interaction with the keypad and the clock, the share link,
# the module's size). docs/web.md. About 2 minutes of installing on a fresh machine, 2 of
# building on two free cores and under 1 of testing.
# Usage: scripts/ci-web.sh
set -euo pipefail
cd "$(dirname "$0")/.."

./dev web
ctest --preset web
