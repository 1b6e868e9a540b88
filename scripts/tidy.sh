#!/usr/bin/env bash
# Runs clang-tidy over the program and the platforms, as build/release compiles them:
# scripts/tidy.sh, or scripts/tidy.sh FILE... for these alone.
#
# All of them take two passes. What follows paths through the code, or asks which file a declaration
# is in or used in, runs on each file; the rest runs on several files as one, whose headers are then
# read once.
set -uo pipefail
cd "$(dirname "$0")/.." || exit 1
. scripts/common.sh

build=build/release
units=build/tidy
alone="clang-diagnostic-*,clang-analyzer-*,-clang-analyzer-valist.Uninitialized"
declared="bugprone-forward-declaration-namespace,bugprone-suspicious-include"
declared+=",google-global-names-in-headers"
declared+=",misc-definitions-in-headers,misc-new-delete-overloads,misc-unused-alias-decls"
declared+=",misc-unused-using-decls"

# tidy FOLDER CHECKS: runs on the files of standard input, with CHECKS behind those of .clang-tidy.
# Findings are on standard output; the other one counts suppressed warnings, and says why it broke.
tidy() {
  local folder=$1 checks=$2 errors status
  errors=$(mktemp)
  xargs -P "$(nproc)" -n 1 clang-tidy -p "$folder" --quiet --checks="$checks" 2>"$errors"
  status=$?
  [ $status -eq 0 ] || grep -v 'warnings generated' "$errors"
  rm "$errors"
  return $status
}

sources() { git ls-files 'src/*.cpp' 'platform/*.cpp' | grep -v log_zlog.cpp; }

# shellcheck disable=SC2086
need_packages $BUILD_PACKAGES clang clang-tidy
[ -f $build/compile_commands.json ] || fail "$build is not configured: cmake --preset release"
if [ $# -gt 0 ]; then
  printf '%s\n' "$@" | tidy $build ""
  exit
fi
failed=0
sources | tidy $build "-*,$alone,$declared" || failed=1
rm -rf $units
sources | xargs scripts/tidy_units.py $build $units || fail "the files cannot be put together"
printf '%s\n' $units/*.cpp |
  tidy $units "-clang-diagnostic-*,-clang-analyzer-*,-${declared//,/,-}" || failed=1
exit $failed
