#!/usr/bin/env bash
# Builds the benchmarks (bench preset) and runs each once with a minimal iteration count,
# so that they keep building and running. Nothing here is timed or compared with a target;
# docs/performance.md says how to take the measurements.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset bench >/dev/null
cmake --build --preset bench
build/bench/bench/das_bench --benchmark_min_time=0 --benchmark_color=false
build/bench/bench/das_footprint
if [ -x build/bench/bench/dasd_roundtrip ]; then
    build/bench/bench/dasd_roundtrip --requests 20 --starts 1
fi
