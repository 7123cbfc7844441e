#!/usr/bin/env bash
# The footprint figures of docs/performance.md, from a built bench preset (bench/smoke.sh or
# cmake --build --preset bench): the stripped size of the plug-in, the service's heap after
# init with a 50-entry plan, and, when dasd is built, its idle memory and start-up time.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/bench}

stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
strip --strip-all -o "$stripped" "$build/libDigitAnalysisService.so"
echo "plug-in libDigitAnalysisService.so: $(stat -c %s "$build/libDigitAnalysisService.so") bytes built," \
     "$(stat -c %s "$stripped") bytes stripped"

"$build/bench/das_footprint"

if [ -x "$build/bench/dasd_roundtrip" ]; then
    "$build/bench/dasd_roundtrip" --footprint-only
fi
