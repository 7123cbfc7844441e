#!/usr/bin/env bash
# Installs the Debian packages the benchmarks need beyond the developer build
# (./dev deps): Google Benchmark, and the phone number library the number conversions
# are compared against. Installs only what is missing, so it is cheap to run every time.
set -euo pipefail
exec "$(dirname "$0")/install-packages.sh" libbenchmark-dev libphonenumber-dev
