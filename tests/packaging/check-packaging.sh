#!/usr/bin/env bash
# The installation as its users meet it (docs/install.md), from a configured and built build
# directory:
#   1. cmake --install into a scratch prefix; the consumer project (tests/packaging/consumer)
#      finds the package with find_package(DigitAnalysisService CONFIG), dlopens the plug-in
#      and creates the service (its ctest); a consumer asking for version 2 is refused
#   2. the same consumer compiled with pkg-config's flags and its plug-in path
#   3. cpack -G DEB; the package's entries against tests/packaging/deb-files.txt
#   4. as root: the package installed with dpkg -i; das-sim runs the installed demo; dasd,
#      started the way its socket unit starts it, answers dasctl; the consumer builds against
#      /usr with no path given; the units pass systemd-analyze verify; man finds the pages.
#      Then dpkg --purge, so that the machine is as it was. DAS_PACKAGING_DPKG=0 skips this part.
# Everything is made in one mktemp directory, removed at the end.
# Usage: tests/packaging/check-packaging.sh BUILD_DIR
set -euo pipefail

[ "$#" -eq 1 ] || { echo "usage: $0 BUILD_DIR" >&2; exit 2; }
BUILD=$(cd "$1" && pwd)
HERE=$(cd "$(dirname "$0")" && pwd)
PACKAGE=digit-analysis-service
DEMO_LAST_LINE='@8500 dialler event "089123"'

WORK=$(mktemp -d)
passed=0
installed_by_us=0
daemon_pid=""

cleanup() {
    local status=$?
    if [ -n "$daemon_pid" ]; then
        kill "$daemon_pid" 2>/dev/null || true
        wait "$daemon_pid" 2>/dev/null || true
    fi
    if [ "$installed_by_us" -eq 1 ]; then
        dpkg --purge "$PACKAGE" >/dev/null || echo "packaging: dpkg --purge $PACKAGE failed; remove it by hand" >&2
    fi
    rm -rf "$WORK"
    if [ "$status" -eq 0 ]; then
        echo "packaging: $passed passed, 0 failed"
    else
        echo "packaging: $passed passed, 1 failed"
    fi
}
trap cleanup EXIT

ok() {
    passed=$((passed + 1))
    echo "ok: $*"
}

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# Waits until the daemon at the socket answers dasctl; the first attempt may be what starts it.
wait_for_reply() {
    local socket=$1 output=""
    for _ in $(seq 1 100); do
        output=$(timeout 20 "${DASCTL[@]}" --socket "$socket" --name dialler send set_dialler_request 2>&1 || true)
        case "$output" in *'reply "set_dialler_response:,1"'*) return 0 ;; esac
        sleep 0.1
    done
    echo "$output" >&2
    return 1
}

consumer_with_cmake() {
    local name=$1 prefix=$2
    shift 2
    cmake -S "$HERE/consumer" -B "$WORK/$name" -G Ninja ${prefix:+-DCMAKE_PREFIX_PATH="$prefix"} "$@" >"$WORK/$name.log" 2>&1
}

consumer_with_pkg_config() {
    local output=$1
    local flags libs plugin libdir
    flags=$(pkg-config --cflags "$PACKAGE")
    libs=$(pkg-config --libs "$PACKAGE")
    plugin=$(pkg-config --variable=plugin "$PACKAGE")
    libdir=$(pkg-config --variable=libdir "$PACKAGE")
    # shellcheck disable=SC2086  # the flags are words
    c++ -std=c++17 -Wall -Wextra -Wpedantic -Wformat=2 -Werror $flags -DDAS_PLUGIN_FILE="\"$plugin\"" \
        "$HERE/consumer/consumer.cpp" -o "$output" $libs -ldl -Wl,-rpath,"$libdir"
    "$output"
}

# --- 1. cmake --install, and a CMake consumer ----------------------------------------------
PREFIX=$WORK/prefix
cmake --install "$BUILD" --prefix "$PREFIX" >"$WORK/install.log"
ok "cmake --install into a scratch prefix"

soname=$(objdump -p "$PREFIX/lib/libDigitAnalysisService.so.1.0.0" | awk '$1 == "SONAME" {print $2}')
[ "$soname" = libDigitAnalysisService.so.1 ] || fail "the plug-in's SONAME is '$soname'"
[ "$(readlink "$PREFIX/lib/libDigitAnalysisService.so")" = libDigitAnalysisService.so.1 ] ||
    fail "libDigitAnalysisService.so does not link to the SONAME"
ok "the plug-in is libDigitAnalysisService.so.1.0.0, SONAME $soname, with the unversioned link"

consumer_with_cmake consumer-cmake "$PREFIX" || { cat "$WORK/consumer-cmake.log"; fail "the consumer does not configure against $PREFIX"; }
cmake --build "$WORK/consumer-cmake" >/dev/null
ctest --test-dir "$WORK/consumer-cmake" --output-on-failure | grep -E "tests passed|created" || fail "the CMake consumer's test"
ok "find_package(DigitAnalysisService CONFIG) consumer loads \$<TARGET_FILE:DigitAnalysisService::plugin> and creates the service"

if consumer_with_cmake consumer-v2 "$PREFIX" -DDAS_WANTED_VERSION=2.0; then
    fail "a consumer asking for version 2.0 was given $(grep -o 'version: [0-9.]*' "$WORK/consumer-v2.log" || echo 1.x)"
fi
grep -q "version: 1.0.0" "$WORK/consumer-v2.log" || { cat "$WORK/consumer-v2.log"; fail "version 2.0 refused for another reason"; }
ok "find_package(DigitAnalysisService 2.0) refuses 1.0.0 (SameMajorVersion)"

# --- 2. pkg-config --------------------------------------------------------------------------
PKG_CONFIG_PATH=$PREFIX/lib/pkgconfig consumer_with_pkg_config "$WORK/consumer-pkg-config"
ok "pkg-config consumer loads \$(pkg-config --variable=plugin $PACKAGE) and creates the service"

# --- 3. The Debian package ------------------------------------------------------------------
(cd "$BUILD" && cpack -G DEB -B "$WORK/deb" >"$WORK/cpack.log" 2>&1) || { cat "$WORK/cpack.log"; fail "cpack -G DEB"; }
DEB=$(ls "$WORK"/deb/"$PACKAGE"_*.deb)
dpkg-deb -c "$DEB" | awk '{print $6}' | sed 's|^\./|/|; s|Targets-[a-z]*\.cmake$|Targets-BUILDTYPE.cmake|' | sort >"$WORK/deb-files"
grep -v '^#' "$HERE/deb-files.txt" | sort >"$WORK/deb-files-expected"
diff -u "$WORK/deb-files-expected" "$WORK/deb-files" || fail "the package's files differ from tests/packaging/deb-files.txt (- expected, + packaged)"
ok "$(basename "$DEB"): $(wc -l <"$WORK/deb-files") entries as listed; $(dpkg-deb -f "$DEB" Depends)"

# --- 4. Installed with dpkg -----------------------------------------------------------------
if [ "${DAS_PACKAGING_DPKG:-1}" = 0 ] || [ "$(id -u)" -ne 0 ]; then
    echo "skipped: dpkg -i and the installed package's smoke test (need root; DAS_PACKAGING_DPKG=${DAS_PACKAGING_DPKG:-1})"
    exit 0
fi
if dpkg-query -W "$PACKAGE" >/dev/null 2>&1; then
    fail "dpkg knows $PACKAGE already; this check installs and purges it itself (dpkg --purge $PACKAGE first)"
fi

# Another apt or dpkg run may hold the package database for a while.
for attempt in $(seq 1 60); do
    if dpkg -i "$DEB" >"$WORK/dpkg.log" 2>&1; then
        installed_by_us=1
        break
    fi
    if ! grep -q "lock" "$WORK/dpkg.log" || [ "$attempt" -eq 60 ]; then
        cat "$WORK/dpkg.log"
        dpkg --purge "$PACKAGE" >/dev/null 2>&1 || true
        fail "dpkg -i"
    fi
    sleep 5
done
ok "dpkg -i $(basename "$DEB")"

/usr/bin/das-sim "/usr/share/doc/$PACKAGE/examples/demo.das" >"$WORK/demo.out"
grep -qF "$DEMO_LAST_LINE" "$WORK/demo.out" || { tail "$WORK/demo.out"; fail "the installed das-sim's demo"; }
ok "das-sim runs /usr/share/doc/$PACKAGE/examples/demo.das with the plug-in it finds by default"

# The package's plug-in is stripped: its dynamic symbol table must still hold exactly the
# three factories and the logger texts.
exports=$(nm -D --defined-only /usr/lib/libDigitAnalysisService.so.1 | awk '{print $3}' | sort)
others=$(grep -vE '^(createDigitAnalysisService|createDigitAnalysisServiceInvoker|createDigitAnalysisServiceEventProxy|dialPlanLoggerTexts_.*)$' <<<"$exports" || true)
if [ -n "$others" ] || [ "$(grep -c '^create' <<<"$exports")" -ne 3 ]; then
    echo "$exports"
    fail "the installed plug-in's exports"
fi
ok "the installed plug-in exports the three factories and the logger texts only"

# As dasd.socket does: the socket is made first, and dasd started on the first connection with
# it as descriptor 3; without the activation tool, dasd makes its own.
DASCTL=(/usr/bin/dasctl)
RUN=$WORK/run
mkdir -m 700 "$RUN"
if command -v systemd-socket-activate >/dev/null; then
    systemd-socket-activate -l "$RUN/dasd.sock" /usr/bin/dasd --socket "$RUN/unused.sock" --store "$RUN/dasd.sqlite" \
        2>"$RUN/dasd.log" &
    how="started on its first connection by systemd-socket-activate"
else
    /usr/bin/dasd --socket "$RUN/dasd.sock" --store "$RUN/dasd.sqlite" 2>"$RUN/dasd.log" &
    how="started directly"
fi
daemon_pid=$!
wait_for_reply "$RUN/dasd.sock" || { cat "$RUN/dasd.log"; fail "the installed dasd does not answer dasctl"; }
plan=$("${DASCTL[@]}" --socket "$RUN/dasd.sock" mgmt-get dial-plan-id)
grep -q 'dial-plan-id/dialPlanId "DE-1"' <<<"$plan" || { echo "$plan"; fail "the installed dasd's management read"; }
kill -TERM "$daemon_pid"
wait "$daemon_pid" || fail "dasd did not stop cleanly on SIGTERM"
daemon_pid=""
ok "dasd ($how) answers dasctl and stops on SIGTERM"

consumer_with_cmake consumer-usr "" || { cat "$WORK/consumer-usr.log"; fail "the consumer does not configure against /usr"; }
cmake --build "$WORK/consumer-usr" >/dev/null
ctest --test-dir "$WORK/consumer-usr" --output-on-failure >"$WORK/consumer-usr.ctest" || { cat "$WORK/consumer-usr.ctest"; fail "the CMake consumer against /usr"; }
created=$(consumer_with_pkg_config "$WORK/consumer-usr-pkg-config")
grep -q "/usr/lib/libDigitAnalysisService.so.1" <<<"$created" || { echo "$created"; fail "the pkg-config consumer against /usr"; }
ok "both consumers build against /usr with no path given"

mkdir -m 700 "$WORK/runtime"
verify=$(XDG_RUNTIME_DIR=$WORK/runtime systemd-analyze verify --user \
    /usr/lib/systemd/user/dasd.socket /usr/lib/systemd/user/dasd.service 2>&1) || { echo "$verify"; fail "systemd-analyze verify"; }
[ -z "$verify" ] || { echo "$verify"; fail "systemd-analyze verify has remarks"; }
for page in das-sim dasd dasctl; do
    [ "$(man -w "$page")" = "/usr/share/man/man1/$page.1.gz" ] || fail "man -w $page"
done
ok "the user units verify (systemd-analyze) and man finds das-sim(1), dasd(1), dasctl(1)"

# Purged, not only removed: a removed package stays known to dpkg ("config-files").
dpkg --purge "$PACKAGE" >/dev/null
installed_by_us=0
if [ -e /usr/bin/dasd ] || [ -e /usr/lib/libDigitAnalysisService.so.1 ]; then
    fail "files left after dpkg --purge"
fi
! dpkg-query -W "$PACKAGE" >/dev/null 2>&1 || fail "dpkg still knows $PACKAGE"
ok "dpkg --purge $PACKAGE leaves the machine as it was"
