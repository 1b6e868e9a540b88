#!/usr/bin/env bash
# Feeds the parsers random input: scripts/fuzz.sh [SECONDS [SEED]], for each harness of fuzz/; 30
# seconds without. Without a seed it is other input each time; ./test gives one, so that its outcome
# is the tree's and no draw's. Every input of fuzz/corpus is tried first. As many harnesses run at a
# time as there are processors. SNMP_APP_FUZZ_BUILD names
# another folder to build in.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
. scripts/common.sh

seconds=${1:-30}
seed=${2:-0}
[[ $# -le 2 && $seconds =~ ^[1-9][0-9]*$ && $seed =~ ^[0-9]+$ ]] ||
  fail "usage: scripts/fuzz.sh [SECONDS [SEED]]"
build=${SNMP_APP_FUZZ_BUILD:-build/fuzz}
findings=$build/findings
limits="-rss_limit_mb=1024 -timeout=20"

build_fuzzers() {
  cmake --preset fuzz -B "$build" --log-level=WARNING &&
    cmake --build "$build" --parallel "$(nproc)" --target fuzzers
}

# Tries each input in a process of its own, so that one finding does not hide another.
# The fuzzer would cut an input off at the greatest length, so that is there for new ones only.
replay() {
  local name=$1 input status=0 inputs=(fuzz/corpus/"$1"/*)
  [ -f "${inputs[0]}" ] || { echo "$name: FAILED, fuzz/corpus/$name has no input"; return 1; }
  for input in "${inputs[@]}"; do
    # shellcheck disable=SC2086
    "$build/fuzz/$name" $limits -max_len=1000000 -artifact_prefix="$findings/$name-" "$input" \
      >"$build/$name.replay" 2>&1 && continue
    echo "$name: FAILED on $input"
    grep -E 'PROPERTY BROKEN|ERROR: |runtime error|what\(\)' "$build/$name.replay"
    status=1
  done
  return $status
}

explore() {
  local name=$1 log=$build/$1.log dictionary=() status
  [ ! -f "fuzz/$name.dict" ] || dictionary=(-dict="fuzz/$name.dict")
  mkdir -p "$build/corpus/$name"
  # shellcheck disable=SC2086
  "$build/fuzz/$name" $limits -max_len=4096 "${dictionary[@]}" \
    -seed="$seed" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$findings/$name-" \
    "$build/corpus/$name" "fuzz/corpus/$name" >"$log" 2>&1
  status=$?
  awk -v name="$name" '
    /^stat::number_of_executed_units:/ { executions = $2 }
    /^stat::average_exec_per_sec:/ { speed = $2 }
    { for (i = 1; i < NF; ++i) if ($i == "cov:") coverage = $(i + 1) }
    END {
      printf "%-16s %10d executions %8d/s, %5d edges covered\n", name, executions, speed, coverage
      exit executions == 0
    }' "$log" || { echo "$name: FAILED, nothing was executed"; tail -n 5 "$log"; return 1; }
  [ $status -ne 0 ] || return 0
  echo "$name: FAILED, input in $findings, log in $log"
  grep -E 'PROPERTY BROKEN|ERROR: |runtime error|what\(\)|Test unit written' "$log"
  grep -m 8 -E '^ +#[0-9]+ ' "$log"
  print_findings "$name"
  return 1
}

# What a harness prints comes in one piece.
run_harness() {
  local status=0
  { if replay "$1"; then
    explore "$1"
  else
    echo "$1: not explored, as inputs of fuzz/corpus fail"
    false
  fi; } >"$build/$1.out" 2>&1 || status=1
  cat "$build/$1.out"
  return $status
}

# The new inputs as text, for who has the output only: base64 -d | gzip -d gives them back.
print_findings() {
  local input
  for input in "$findings/$1"-*; do
    [ -f "$input" ] || continue
    echo "$(basename "$input"), gzip, base64:"
    gzip -9 -c "$input" | base64 -w 900
  done
}

# shellcheck disable=SC2086
need_packages $BUILD_PACKAGES $FUZZ_PACKAGES
build_fuzzers || fail "the harnesses could not be built"
rm -rf "$findings" && mkdir -p "$findings"
export build findings limits seconds seed
export -f run_harness replay explore print_findings
basename -a -s .cpp fuzz/*_fuzz.cpp | xargs -P "$(nproc)" -I '{}' bash -c 'run_harness {}'
