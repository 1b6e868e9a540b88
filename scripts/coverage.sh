#!/usr/bin/env bash
# Tells what part of the program and of the host platform the tests reach, and fails below a least
# part of each. SNMP_APP_COVERAGE_BUILD names another folder to build in.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
. scripts/common.sh

build=${SNMP_APP_COVERAGE_BUILD:-$PWD/build/coverage}
results=$build/results
failed=0

# Test programs run while they are built, too, on counters that may be of older sources.
build_tests() {
  find "$build" -name '*.gcda' -delete 2>/dev/null
  cmake --preset coverage -B "$build" -DSNMP_APP_TESTS=ON -DSNMP_APP_BENCH=OFF \
    --log-level=WARNING && cmake --build "$build" --parallel "$(nproc)" &&
    find "$build" -name '*.gcda' -delete
}

run_tests() {
  ctest --test-dir "$build" -j 2 --progress --output-on-failure \
    --output-junit "$results/coverage.xml" || failed=1
  run_system "$build" "$results/system.xml" || failed=1
}

collect() {
  gcovr -r . "$build" -j 2 -f src/app/ -f platform/host/ --exclude-throw-branches \
    --exclude-unreachable-branches --json "$results/coverage.json"
}

# at_least WHAT COVERED TOTAL MINIMUM: prints the part in percent; fails below MINIMUM, and for
# nothing at all.
at_least() {
  awk -v what="$1" -v covered="$2" -v total="$3" -v minimum="$4" 'BEGIN {
    if (total > 0) part = 100 * covered / total
    printf "%-24s %6.2f %%, %d of %d, at least %d %%\n", what, part, covered, total, minimum
    exit total == 0 || 100 * covered < minimum * total
  }' || { echo "FAILED: $1"; failed=1; }
}

# report FOLDER LINES BRANCHES: every file of the folder, and whether it reaches these percentages.
report() {
  local summary=$results/summary.json numbers
  say "$1"
  gcovr -r . -a "$results/coverage.json" -f "$1/" --json-summary "$summary" --txt || failed=1
  read -ra numbers < <(/usr/bin/python3 -c 'import json, sys
total = json.load(open(sys.argv[1], encoding="utf-8"))
names = ("line_covered", "line_total", "branch_covered", "branch_total")
print(*(total[name] for name in names))
' "$summary")
  at_least "$1: lines" "${numbers[0]:-0}" "${numbers[1]:-0}" "$2"
  at_least "$1: branches" "${numbers[2]:-0}" "${numbers[3]:-0}" "$3"
}

skip() { skipped+=("$1"); }

skipped=()
# shellcheck disable=SC2086
need_packages $BUILD_PACKAGES $SHOW_PACKAGES $TEST_PACKAGES $COVERAGE_PACKAGES
build_tests || fail "the tests could not be built"
rm -rf "$results" && mkdir -p "$results"
run_tests
collect || fail "gcovr cannot read what the tests left"
report src/app 100 90
report platform/host 85 0
[ ${#skipped[@]} -eq 0 ] || printf 'not run: %s\n' "${skipped[@]}"
[ $failed -eq 0 ]
