#!/usr/bin/env bash
# The hardening steps of CI, each timed:
#   asan      build everything with AddressSanitizer + UBSan and run the whole test suite
#   tsan      build the concurrency tests (tests/*/*Concurrency*Test.cpp) with ThreadSanitizer, run them
#   clang     build the libraries with clang 14 and the thread safety analysis (-Werror)
#   fuzz      build the libFuzzer targets (clang 14, which also runs the thread safety analysis
#             over the libraries) and run each for a fixed number of executions
#   tidy      clang-tidy (.clang-tidy) over src/, platform/ and host/
#   cppcheck  cppcheck over src/, platform/ and host/
#   all       asan, tsan, fuzz, tidy and cppcheck: the clang step is left out, since the fuzz
#             build compiles the same libraries with clang and -Wthread-safety -Werror
# Usage: scripts/ci-hardening.sh STEP...
set -euo pipefail
cd "$(dirname "$0")/.."

JOBS=2

# Executions per fuzz target in CI: about a minute in all on two cores (docs/fuzzing.md).
declare -A FUZZ_RUNS=(
    [InvokerRequestFuzzer]=4000
    [InvokerSequenceFuzzer]=1500
    [DialPlanStorageFuzzer]=40000
    [DialPlanConfigFuzzer]=4000
    [ConversionFuzzer]=4000
    [FramingFuzzer]=200000
    [HostConfigFuzzer]=20000
    [ManagementJsonFuzzer]=20000
    [StoreRequestFuzzer]=20000
    [FrameDispatchFuzzer]=20000
    [TextQuoteFuzzer]=100000
)

timed() {
    local name=$1
    shift
    local start=$SECONDS
    echo "=== hardening: $name"
    "$@"
    echo "=== hardening: $name took $((SECONDS - start)) s"
}

configure() { cmake --preset "$1" >/dev/null; }

step_asan() {
    configure asan
    cmake --build --preset asan
    ctest --preset asan
}

concurrency_tests() {
    local file
    for file in tests/*/*Concurrency*Test.cpp; do
        [ -e "$file" ] && basename "$file" .cpp
    done
}

step_tsan() {
    local tests
    mapfile -t tests < <(concurrency_tests)
    if [ "${#tests[@]}" -eq 0 ]; then
        echo "no concurrency tests"
        return 0
    fi
    configure tsan
    cmake --build --preset tsan --target "${tests[@]}"
    local test
    for test in "${tests[@]}"; do
        TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1" "build/tsan/tests/$test" --gtest_brief=1
    done
}

library_targets() {
    local targets=(das_service_objects das_platform das_inproc)
    [ -d host ] && targets+=(das_host)
    printf '%s\n' "${targets[@]}"
}

step_clang() {
    local targets
    mapfile -t targets < <(library_targets)
    configure clang
    cmake --build --preset clang --target "${targets[@]}"
}

step_fuzz() {
    configure fuzz
    cmake --build --preset fuzz --target fuzzers
    local work
    work=$(mktemp -d)
    local fuzzer
    for fuzzer in build/fuzz/fuzz/*Fuzzer; do
        local name
        name=$(basename "$fuzzer")
        local runs=${FUZZ_RUNS[$name]:-2000}
        mkdir -p "$work/$name"
        echo "--- $name: $runs executions"
        # New inputs go to the scratch directory; the committed seeds are only read.
        local status=0
        "$fuzzer" -runs="$runs" -seed=1 -print_final_stats=1 -artifact_prefix="$work/$name-" \
            "$work/$name" "fuzz/corpus/$name" >"$work/$name.log" 2>&1 || status=$?
        grep -E '^#[0-9]+ +(INITED|DONE)|^stat::(number_of_executed_units|average_exec_per_sec)' "$work/$name.log" || true
        if [ "$status" -ne 0 ]; then
            tail -n 60 "$work/$name.log"
            echo "$name failed; the input is kept in $work"
            return 1
        fi
    done
    rm -rf "$work"
}

analysed_sources() {
    git ls-files 'src/*.cpp' 'platform/*.cpp' 'host/*.cpp'
}

# clang-tidy results are kept per source file in a cache outside the clone (CI runs on the
# same machine again and again): a file is analysed again only when it, any header of the
# project, its compile command, .clang-tidy or clang-tidy itself changed.
TIDY_CACHE=${XDG_CACHE_HOME:-$HOME/.cache}/das-clang-tidy

tidy_key() {
    local source=$1
    {
        clang-tidy-14 --version
        cat .clang-tidy "$source"
        git ls-files '*.h' | sort | xargs cat
        python3 -c 'import json,sys; print([e["command"] if "command" in e else e["arguments"] for e in json.load(open("build/clang/compile_commands.json")) if e["file"].endswith(sys.argv[1])])' "$source"
    } | sha256sum | cut -d' ' -f1
}

step_tidy() {
    # The clang preset's compile database: the flags clang-tidy understands best.
    configure clang
    mkdir -p "$TIDY_CACHE"
    local sources=()
    local keys=()
    local source
    while read -r source; do
        local key
        key=$(tidy_key "$source")
        if [ -e "$TIDY_CACHE/$key" ]; then
            echo "clean before, unchanged: $source"
        else
            sources+=("$source")
            keys+=("$key")
        fi
    done < <(analysed_sources)
    [ "${#sources[@]}" -gt 0 ] || return 0
    local status=0
    local log
    log=$(mktemp)
    run-clang-tidy-14 -quiet -p build/clang -j "$JOBS" "${sources[@]/#/$PWD/}" >"$log" 2>&1 || status=$?
    grep -vE '^(clang-tidy-14 |[0-9]+ warnings? (and [0-9]+ errors? )?generated|Suppressed [0-9]+ warnings|Use -header-filter|Running clang-tidy)' "$log" || true
    rm -f "$log"
    if [ "$status" -eq 0 ]; then
        local key
        for key in "${keys[@]}"; do touch "$TIDY_CACHE/$key"; done
    fi
    return "$status"
}

step_cppcheck() {
    local includes=(-I include -I src -I platform/include -I platform/inproc/include)
    local dirs=(src platform)
    if [ -d host ]; then
        includes+=(-I host/core -I host/store -I host/protocol -I host/daemon -I host/sim -I host/client -I host/check
                   -I host/web -I host/cli)
        dirs+=(host)
    fi
    cppcheck -q -j "$JOBS" --std=c++17 --language=c++ --enable=warning,performance,portability \
        --inline-suppr --error-exitcode=1 --suppress=missingIncludeSystem "${includes[@]}" "${dirs[@]}"
}

[ "$#" -gt 0 ] || set -- all
for step in "$@"; do
    case "$step" in
        all) for each in asan tsan fuzz tidy cppcheck; do timed "$each" "step_$each"; done ;;
        asan | tsan | clang | fuzz | tidy | cppcheck) timed "$step" "step_$step" ;;
        *) echo "unknown step: $step" >&2; exit 2 ;;
    esac
done
