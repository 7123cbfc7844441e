#!/usr/bin/env bash
# Installs the analysis tools the hardening steps of CI need (clang 14 with its sanitizer and
# libFuzzer runtimes, clang-tidy, cppcheck); only the Debian packages that are missing.
set -euo pipefail
exec "$(dirname "$0")/install-packages.sh" clang-14 libclang-rt-14-dev clang-tidy-14 cppcheck
