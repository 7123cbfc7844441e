#!/usr/bin/env bash
# The footprint figures of docs/performance.md, from a built bench preset (bench/smoke.sh or
# cmake --build --preset bench): the stripped size of the plug-in, the service's heap after
# init with a 50-entry plan, and, when dasd is built, its idle memory and start-up time.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/bench}

# The plug-in as built and stripped; also the 32-bit ARM one of an armhf build, when there is one.
stripped=$(mktemp)
trap 'rm -f "$stripped"' EXIT
for plugin in "$build/libDigitAnalysisService.so" build/armhf*/libDigitAnalysisService.so; do
    [ -f "$plugin" ] || continue
    machine=$(readelf -h "$plugin" | awk -F: '/Machine:/ {gsub(/^ +/, "", $2); print $2}')
    strip_tool=strip
    [ "$machine" = "ARM" ] && strip_tool=arm-linux-gnueabihf-strip
    "$strip_tool" --strip-all -o "$stripped" "$plugin"
    echo "plug-in $plugin ($machine): $(stat -c %s "$plugin") bytes built, $(stat -c %s "$stripped") bytes stripped"
done

"$build/bench/das_footprint"

if [ -x "$build/bench/dasd_roundtrip" ]; then
    "$build/bench/dasd_roundtrip" --footprint-only
fi
