# Steps of device_test.sh; sourced. They use its work, device, source_folder and libraries_folder.
# shellcheck shell=bash disable=SC2154

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# A device's folder: its headers, with them the means by which the contract tests set it up, and its
# libraries.
lay_out_device() {
  mkdir -p "$device/include" "$device/lib"
  cp -r "$source_folder/platform/api/." "$device/include"
  (cd "$source_folder/platform/fake" && find . -name '*.h' -exec cp --parents {} "$device/include" ';')
  mv "$device/include/zlog/zlog.h" "$device/include/zlog.h"
  cp "$libraries_folder"/lib*.so "$device/lib"
}

# Configures a build in $work/$1; the rest are cmake's arguments. What an earlier call in that
# folder was given or found does not count.
configure() {
  local build=$work/$1
  shift
  "$CMAKE" -G Ninja -S "$source_folder" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DSNMP_APP_WERROR=ON \
    -U 'DEVICE_*' -U 'ZLOG_*' -U PLATFORM -U 'SNMP_APP_[TC]*' "$@"
}

expect_in() {
  grep -qE -- "$2" "$1" || { cat "$1" >&2; fail "$(basename "$1") has no line like: $2"; }
}

expect_not_in() {
  if grep -E -- "$2" "$1" >&2; then fail "$(basename "$1") has a line like: $2"; fi
}

# Expects that a configuration with the arguments given fails and says what $1 describes.
expect_refusal() {
  local message=$1
  shift
  if configure refused "$@" >"$work/refusal" 2>&1; then fail "taken: $*"; fi
  # CMake wraps its messages.
  tr -s '\n ' ' ' <"$work/refusal" >"$work/refusal_on_one_line"
  expect_in "$work/refusal_on_one_line" "$message"
}

# Expects the same text in two files.
expect_same() { diff "$1" "$2" >&2 || fail "$1 and $2 differ"; }
