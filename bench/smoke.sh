#!/usr/bin/env bash
# Builds the benchmarks and runs each once with a minimal iteration count, so that they keep
# building and running. Nothing here is timed or compared with a target; docs/performance.md
# says how to take the measurements.
#
# Usage: bench/smoke.sh [PRESET]
#   PRESET  the configure preset to build them in: "bench" (the default, Release -O2), or
#           "default" to add them to the developer build and reuse what it built (CI does
#           this after the test build, to spare a second build of the libraries).
set -euo pipefail
cd "$(dirname "$0")/.."

preset=${1:-bench}
cmake --preset "$preset" -DDAS_BUILD_BENCH=ON >/dev/null
cmake --build --preset "$preset" --target das_bench das_expected das_footprint dasd_roundtrip
programs="build/$preset/bench"
# The results the timed loops are checked against must still be what the service answers.
"$programs/das_expected" --check
"$programs/das_bench" --benchmark_min_time=0 --benchmark_color=false
"$programs/das_footprint"
"$programs/dasd_roundtrip" --requests 20 --starts 1
# The developer build goes back to building without the benchmarks.
[ "$preset" = bench ] || cmake --preset "$preset" -DDAS_BUILD_BENCH=OFF >/dev/null
