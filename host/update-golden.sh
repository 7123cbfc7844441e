#!/usr/bin/env bash
# Writes tests/golden/NAME.expected from das-sim's output for the named scripts (all when
# none is named). The expected files define correct behaviour: read
# every line of `git diff tests/golden` against the service's documented behaviour before
# committing it.
set -euo pipefail
cd "$(dirname "$0")/.."
sim=build/default/host/das-sim
scripts=("$@")
[ "${#scripts[@]}" -gt 0 ] || scripts=(tests/golden/*.das)
for script in "${scripts[@]}"; do
    args=$(sed -n '1s/^# args: //p' "$script")
    # shellcheck disable=SC2086
    "$sim" $args "$script" > "${script%.das}.expected"
done
