#!/usr/bin/env bash
# Takes the figures of docs/performance.md: every benchmark five times (the medians are the
# figures), the footprint, and the dasd round trips with their echo baseline at 1, 8 and 32
# clients. Run it on a quiet machine; it takes about six minutes after the build.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset bench >/dev/null
cmake --build --preset bench >/dev/null
echo "== $(date -u '+%Y-%m-%d %H:%M') UTC, $(nproc) cores, load average $(cut -d' ' -f1-3 /proc/loadavg)"
# Only the medians are shown; means, deviations and variation are left out.
build/bench/bench/das_bench --benchmark_repetitions=5 --benchmark_report_aggregates_only=true \
    --benchmark_min_time=0.5 --benchmark_color=false "$@" | grep -v -E '_(mean|stddev|cv) +'
bench/footprint.sh
if [ -x build/bench/bench/dasd_roundtrip ]; then
    # The start-up medians came with the footprint; one more start, then the load.
    build/bench/bench/dasd_roundtrip --starts 1
fi
