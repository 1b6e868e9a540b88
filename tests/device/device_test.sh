#!/bin/bash
# Builds for a device, and for other platforms by name, in a folder of its own. Arguments: the
# test's name, the source folder, the folder with the libraries that stand in for the device's.
# CMAKE names cmake, CXX and CXXFLAGS the compiler.
set -euo pipefail

test_name=$1
source_folder=$2
libraries_folder=$3

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
device=$work/device

. "$source_folder/tests/device/steps.sh"

# One build serves these; it takes the most time of all.
build_for_a_device() {
  lay_out_device
  # A folder outside of where a toolchain file has things found is taken nonetheless; the tests'
  # library is one of those things.
  configure build -DPLATFORM=device "-DDEVICE_DIR=$device" -DSNMP_APP_UNITY_TESTS=ON \
    "-DSNMP_APP_CONTRACT_PLATFORM=$source_folder/tests/contract/fake_platform.cpp" \
    "-DCMAKE_FIND_ROOT_PATH=/usr" -DCMAKE_FIND_ROOT_PATH_MODE_LIBRARY=ONLY \
    -DCMAKE_FIND_ROOT_PATH_MODE_INCLUDE=ONLY >"$work/configuration"
  expect_in "$work/configuration" '^-- zlog: ON$'
  "$CMAKE" --build "$work/build" -j 2 --target snmp-app
  daemon_runs_on_device_libraries
  program_alone_is_installed
  case ${CXXFLAGS:-} in *-fsanitize*)
    echo "not run: the list of symbols, for a sanitizer needs more, and the contract tests, which"
    echo "contract_fake_test runs with a sanitizer"
    return
  esac
  page_lists_the_symbols
  contract_holds_on_device_libraries
}

daemon_runs_on_device_libraries() {
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

contract_holds_on_device_libraries() {
  "$CMAKE" --build "$work/build" -j 2
  local program=$work/build/tests/contract/contract_test
  "$program" --gtest_list_tests >"$work/listed"
  "$program" --gtest_brief=1 >"$work/contract" || { cat "$work/contract" >&2; fail "the contract"; }
  expect_in "$work/contract" "^\[==========\] $(grep -c '^  ' "$work/listed") tests from "
  # The device's calls are tested, not ours. Only what a library has as data is copied into a program.
  nm -C --defined-only "$program" >"$work/defined"
  expect_in "$work/defined" ' T common::MakeBuf\('
  expect_not_in "$work/defined" ' [TW] (cdb_|maapi_|confd_|vkmw_|zlog)[a-z_0-9]*$'
}

program_alone_is_installed() {
  "$CMAKE" --install "$work/build" --prefix "$work/installed" >/dev/null
  (cd "$work/installed" && find . ! -type d) >"$work/files"
  echo ./sbin/snmp-app >"$work/expected_files"
  expect_same "$work/expected_files" "$work/files"
}

page_lists_the_symbols() {
  # shellcheck disable=SC2086
  "$source_folder/scripts/platform-symbols.sh" "$work/build/src/app/libapp.a" \
    "$CXX" ${CXXFLAGS:-} >"$work/symbols"
  # shellcheck disable=SC2016
  sed -n '/^```symbols$/,/^```$/p' "$source_folder/docs/port.md" | sed '1d;$d' >"$work/on_the_page"
  expect_same "$work/on_the_page" "$work/symbols"
}

device_folder_must_be_right() {
  expect_refusal 'PLATFORM=device needs DEVICE_DIR, a folder with include/ and lib/; it is ""' \
    -DPLATFORM=device
  expect_refusal "it is \"$work/none\"" -DPLATFORM=device "-DDEVICE_DIR=$work/none"
  mkdir -p "$device/include"
  expect_refusal "it is \"$device\"" -DPLATFORM=device "-DDEVICE_DIR=$device"
  lay_out_device
  mv "$device/lib/libvkos.so" "$work"
  expect_refusal 'Could not find DEVICE_LIBRARY_vkos using the following names: vkos' \
    -DPLATFORM=device "-DDEVICE_DIR=$device"
  mv "$work/libvkos.so" "$device/lib"
}

zlog_must_be_there() {
  lay_out_device
  rm "$device/include/zlog.h"
  mv "$device/lib/libzlog.so" "$device/lib/liblogging.so"
  local libraries='vkconfd;vkos;vkmw;iptools;nettypes;confd'
  expect_refusal "has no zlog: .* in a library of DEVICE_LIBRARIES \($libraries\)" \
    -DPLATFORM=device "-DDEVICE_DIR=$device"
  # Without the tests a source of theirs that is not there does no harm.
  configure refused -DPLATFORM=device "-DDEVICE_DIR=$device" -DSNMP_APP_TESTS=OFF \
    "-DDEVICE_LIBRARIES=$libraries;logging" -DSNMP_APP_CONTRACT_PLATFORM=none.cpp \
    >"$work/configuration"
  expect_in "$work/configuration" '^-- zlog: OFF$'
}

platform_must_be_there() {
  expect_refusal 'PLATFORM is "": not the name of a folder of platform/' -DPLATFORM=
  expect_refusal 'PLATFORM is "../tests": not the name of a folder' -DPLATFORM=../tests
  expect_refusal "there is no $source_folder/platform/none/CMakeLists.txt; the tree has device, fake, host, " \
    -DPLATFORM=none
  expect_refusal "there is no $work/none/CMakeLists.txt" "-DPLATFORM=$work/none"
  expect_refusal 'platform_common is a target of the tree and no platform' -DPLATFORM=common
  mkdir "$work/empty"
  touch "$work/empty/CMakeLists.txt"
  expect_refusal "$work/empty/CMakeLists.txt makes no target platform_empty" "-DPLATFORM=$work/empty"
  expect_refusal 'need PLATFORM=host; it is "fake"' -DPLATFORM=fake -DSNMP_APP_BENCH=ON
}

# What the daemon is compiled and linked with, a command a line.
list_commands() {
  "$CMAKE" --build "$work/build" -- -t commands snmp-app >"$work/commands"
}

platform_elsewhere_is_linked() {
  local folder=$work/acme
  mkdir "$folder"
  echo 'void Serve() {}' >"$folder/acme.cpp"
  cat >"$folder/CMakeLists.txt" <<END
add_library(platform_acme STATIC acme.cpp)
target_link_libraries(platform_acme PUBLIC platform_common)
END
  configure build "-DPLATFORM=$folder/" >"$work/configuration"
  expect_in "$work/configuration" '^-- Tests: none; those of platform/api need SNMP_APP_CONTRACT_PLATFORM$'
  list_commands
  expect_in "$work/commands" '-o src/app/snmp-app .*/libplatform_acme\.a .*/libplatform_common\.a'
  expect_in "$work/commands" "-I$source_folder/platform/api .*/application\.cpp\$"
  expect_not_in "$work/commands" '-I[^ ]*platform/(host|fake)|lib(host|fake)_'

  cat >>"$folder/CMakeLists.txt" <<END
add_library(platform_acme_api INTERFACE)
target_include_directories(platform_acme_api INTERFACE include)
add_library(platform_acme_program OBJECT program.cpp)
END
  touch "$folder/program.cpp"
  configure build "-DPLATFORM=$folder" >"$work/configuration"
  list_commands
  expect_in "$work/commands" "-I$folder/include .*/application\.cpp\$"
  expect_not_in "$work/commands" "-I$source_folder/platform/api "
  expect_in "$work/commands" '/platform_acme_program\.dir/program\.cpp\.o .*-o src/app/snmp-app '
}

# Configures the program of tests/device/zlog with the system folder $work/system.
configure_zlog() {
  rm -rf "$work/build"
  "$CMAKE" -G Ninja -S "$source_folder/tests/device/zlog" -B "$work/build" \
    "-DPROGRAM_FOLDER=$source_folder" "-DCMAKE_PREFIX_PATH=$work/system" >"$work/configuration"
}

# With the header at the path given below the system's folder.
zlog_is_taken() {
  local header=$work/system/include/$1
  mkdir -p "$(dirname "$header")"
  cp "$source_folder/platform/api/zlog/zlog.h" "$header"
  echo '#define ZLOG_OF_THE_SYSTEM' >>"$header"
  configure_zlog
  expect_in "$work/configuration" '^-- zlog: ON$'
  "$CMAKE" --build "$work/build"
  readelf -d "$work/build/program" >"$work/needed"
  expect_in "$work/needed" 'NEEDED.*\[libzlog\.so\]'
  rm -r "$work/system/include"
}

zlog_of_the_system_is_taken() {
  mkdir -p "$work/system/lib"
  cp "$libraries_folder"/lib{zlog,confd}.so "$work/system/lib"
  zlog_is_taken zlog.h
  zlog_is_taken zlog/zlog.h

  # The library alone, then the header alone.
  configure_zlog
  expect_in "$work/configuration" '^-- zlog: OFF$'
  rm "$work/system/lib/libzlog.so"
  mkdir "$work/system/include"
  cp "$source_folder/platform/api/zlog/zlog.h" "$work/system/include"
  configure_zlog
  expect_in "$work/configuration" '^-- zlog: OFF$'
}

case $test_name in
  build_for_a_device | device_folder_must_be_right | zlog_must_be_there | \
    platform_must_be_there | platform_elsewhere_is_linked | zlog_of_the_system_is_taken)
    "$test_name"
    ;;
  *) fail "no test $test_name" ;;
esac
