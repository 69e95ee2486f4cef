#!/usr/bin/env bash
# Installs what is missing, builds, and runs every test. The last line says how many passed and how many failed.
#   ./test.sh                  everything: all tests, and those of the device's widths on 32 bits
#   ./test.sh fast             only the tests with that label
#   ./test.sh sanitizers       all tests with the address and undefined-behaviour sanitizers, and those with threads
#                              with the thread sanitizer
#   ./test.sh --install-only   only installs what is needed
set -euo pipefail
cd "$(dirname "$0")"
source tools/install.sh
install_packages
[ "${1:-}" = --install-only ] && exit 0

# Devices are made and thrown away in memory where there is room for them.
if [ -z "${TMPDIR:-}" ] && [ -w /dev/shm ]; then
    export TMPDIR=/dev/shm
fi

# The same run gives the same random tests twice. To let them look further:
#   RC_PARAMS="max_success=2000" ./test.sh
export RC_PARAMS="${RC_PARAMS:-seed=20260302}"

results=$(mktemp)
trap 'rm -f "$results"' EXIT

# run PRESET TARGET [CTEST-OPTION...]: builds the target and runs the preset's tests. Failing ones are counted; the
# rest goes on.
run() {
    local preset=$1 target=$2
    shift 2
    echo "== $preset"
    cmake --preset "$preset" >/dev/null
    cmake --build --preset "$preset" --target "$target" --parallel "$(nproc)"
    ctest --preset "$preset" --parallel "$(nproc)" --no-tests=error "$@" | tee -a "$results" || true
    # A ctest that ended without its closing lines did not run its tests.
    runs=$((runs + 1))
    [ "$(grep -c 'tests passed,' "$results")" -eq "$runs" ] || { echo "$preset: the tests did not run"; exit 1; }
}
runs=0

case "${1:-}" in
    sanitizers)
        export ASAN_OPTIONS=detect_leaks=1:abort_on_error=0 UBSAN_OPTIONS=print_stacktrace=1
        export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
        run asan all
        run tsan threads -L threads
        ;;
    "")
        run dev all
        run m32 all
        ;;
    *)
        run dev all -L "$1"
        ;;
esac

# ctest closes with "N% tests passed, F tests failed out of T".
awk '/tests passed,/ { failed += $4; total += $NF }
     END { printf "%d passed, %d failed\n", total - failed, failed; exit failed != 0 }' "$results"
