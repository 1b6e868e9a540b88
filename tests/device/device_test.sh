#!/bin/bash
# Builds the daemon for a device in a folder of its own. Arguments: the test's name, the source
# folder, the folder with the libraries that stand in for the device's. CMAKE names cmake.
set -euo pipefail

test_name=$1
source_folder=$2
libraries_folder=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
device=$work/device

fail() {
  echo "FAILED: $*" >&2
  exit 1
}

# A device's folder: its headers and its libraries.
lay_out_device() {
  mkdir -p "$device/include" "$device/lib"
  cp -r "$source_folder/platform/api/." "$device/include"
  mv "$device/include/zlog/zlog.h" "$device/include/zlog.h"
  cp "$libraries_folder"/lib*.so "$device/lib"
}

# Configures a build in $work/$1; the rest are cmake's arguments.
configure() {
  local build=$work/$1
  shift
  "$CMAKE" -G Ninja -S "$source_folder" -B "$build" -DCMAKE_BUILD_TYPE=Debug -DPLATFORM=device \
    -DSNMP_APP_TESTS=OFF -DSNMP_APP_WERROR=ON "$@"
}

expect_in() {
  grep -qE -- "$2" "$1" || { cat "$1" >&2; fail "$(basename "$1") has no line like: $2"; }
}

# Expects that a configuration with the arguments given fails and says what $1 describes.
expect_refusal() {
  local message=$1
  shift
  if configure refused "$@" >"$work/refusal" 2>&1; then fail "taken: $*"; fi
  # CMake wraps its messages.
  tr -s '\n ' ' ' <"$work/refusal" >"$work/refusal_on_one_line"
  expect_in "$work/refusal_on_one_line" "$message"
  rm -rf "$work/refused"
}

daemon_runs_on_device_libraries() {
  lay_out_device
  configure build "-DDEVICE_DIR=$device" >"$work/configuration"
  expect_in "$work/configuration" '^-- zlog: ON$'
  "$CMAKE" --build "$work/build" --target snmp-app -j 2
  local daemon=$work/build/src/app/snmp-app

  SNMP_APP_FAKE_TRACE=1 "$daemon" 2>"$work/trace" || fail "the daemon ended with status $?"
  expect_in "$work/trace" '^snmp-app src/app/application:[0-9]+ Run 12 Initializing SNMP daemon\.$'
  expect_in "$work/trace" '^snmp-app src/app/application:[0-9]+ Run 12 SNMP daemon has finished!$'

  readelf -d "$daemon" >"$work/needed"
  ldd "$daemon" >"$work/loaded"
  for library in vkconfd vkos vkmw iptools nettypes confd zlog; do
    expect_in "$work/needed" "NEEDED.*\[lib$library\.so\]"
    expect_in "$work/loaded" "lib$library\.so => $device/lib/lib$library\.so "
  done
}

device_folder_must_be_right() {
  expect_refusal 'PLATFORM=device needs DEVICE_DIR, a folder with include/ and lib/; it is ""'
  expect_refusal "it is \"$work/none\"" "-DDEVICE_DIR=$work/none"
  mkdir -p "$device/include"
  expect_refusal "it is \"$device\"" "-DDEVICE_DIR=$device"
  lay_out_device
  rm "$device/lib/libvkos.so"
  expect_refusal 'Could not find DEVICE_LIBRARY_vkos using the following names: vkos' \
    "-DDEVICE_DIR=$device"
}

# Configures the program of tests/device/zlog with the system folder $work/system.
configure_zlog() {
  rm -rf "$work/build"
  "$CMAKE" -G Ninja -S "$source_folder/tests/device/zlog" -B "$work/build" \
    "-DPROGRAM_FOLDER=$source_folder" "-DCMAKE_PREFIX_PATH=$work/system" >"$work/configuration"
}

zlog_of_the_system_is_taken() {
  mkdir -p "$work/system/include" "$work/system/lib"
  local header=$work/system/include/zlog.h
  cp "$source_folder/platform/api/zlog/zlog.h" "$header"
  echo '#define ZLOG_OF_THE_SYSTEM' >>"$header"
  cp "$libraries_folder"/lib{zlog,confd}.so "$work/system/lib"
  configure_zlog
  expect_in "$work/configuration" '^-- zlog: ON$'
  "$CMAKE" --build "$work/build"
  readelf -d "$work/build/program" >"$work/needed"
  expect_in "$work/needed" 'NEEDED.*\[libzlog\.so\]'

  rm "$work/system/lib/libzlog.so"
  configure_zlog
  expect_in "$work/configuration" '^-- zlog: OFF$'

  cp "$libraries_folder/libzlog.so" "$work/system/lib"
  rm "$header"
  configure_zlog
  expect_in "$work/configuration" '^-- zlog: OFF$'
}

case $test_name in
  daemon_runs_on_device_libraries | device_folder_must_be_right | zlog_of_the_system_is_taken)
    "$test_name"
    ;;
  *) fail "no test $test_name" ;;
esac
