#!/usr/bin/env bash
# The packaging step of CI (docs/install.md): builds what is installed in build/default (after
# ./dev test, only what changed), then tests/packaging/check-packaging.sh: cmake --install into
# a scratch prefix, the consumer project with CMake and with pkg-config, the Debian package
# (cpack -G DEB) and its file list, and, as root, dpkg -i, a smoke test of the installed
# programs and units, and dpkg --purge. About 10 s when build/default is up to date.
# Usage: scripts/ci-packaging.sh
set -euo pipefail
cd "$(dirname "$0")/.."

# The developer build's packages, and what packaging and its checks use beyond them:
# pkg-config, dpkg-shlibdeps (dpkg-dev) and file for cpack's dependency list, man, and
# systemd's socket activation and unit verification tools.
./dev deps
scripts/install-packages.sh pkgconf dpkg-dev file man-db systemd

cmake --preset default >/dev/null
cmake --build --preset default --target DigitAnalysisService das_platform das-sim dasd dasctl das_man_pages
tests/packaging/check-packaging.sh build/default
