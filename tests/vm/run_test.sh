#!/usr/bin/env bash
# What run.sh and packages.sh do where something fails.
set -euo pipefail
cd "$(dirname "$0")"
folder=../../build/vm
work=$(mktemp -d)
running=''
trap '[ -z "$running" ] || kill "$running"; rm -rf "$work"' EXIT
failed=0

wrong() {
  echo "FAILED: $*"
  failed=1
}

# check WHAT STATUS TEXT COMMAND...: the command ends with the status and prints the text.
check() {
  local status=0
  "${@:4}" >"$work/out" 2>&1 </dev/null || status=$?
  if [ $status -eq "$2" ] && grep -q -e "$3" "$work/out"; then
    echo "ok: $1"
  else
    wrong "$1: status $status, expected $2 and '$3':"
    cat "$work/out"
  fi
}

# The processes whose arguments name a temporary folder of run.sh.
emulators() {
  grep -l -s -a "$(basename "$(readlink -f "$folder")")/run\.$1" /proc/[0-9]*/cmdline || true
}

# Ended from outside: the emulator goes, too, and so does its folder.
check_signal() {
  local made before deadline=$((SECONDS + 60))
  before=$(compgen -G "$folder/run.*" | sort || true)
  ./run.sh --verbatim "echo begun; sleep 1000" >"$work/out" 2>&1 </dev/null &
  running=$!
  until grep -q begun "$work/out"; do
    [ $SECONDS -lt $deadline ] || break
    sleep 0.2
  done
  grep -q begun "$work/out" || wrong "the machine does not start"
  made=$(comm -13 <(echo "$before") <(compgen -G "$folder/run.*" | sort))
  [ -n "$(emulators "${made##*.}")" ] || wrong "no emulator is seen"
  kill "$running"
  wait "$running" || true
  running=''
  [ -z "$(emulators "${made##*.}")" ] || wrong "an emulator is left"
  [ ! -e "$made" ] || wrong "$made is left"
}

mkdir "$work/bin" "$work/used"
printf '#!/bin/sh\necho "E: no network" >&2\nexit 100\n' >"$work/bin/apt-get"
chmod +x "$work/bin/apt-get"
check "packages that cannot be fetched" 77 "cannot be fetched: E: no network" \
  env PATH="$work/bin:$PATH" ./packages.sh "$work/new"
grep -q "no network" "$work/new/why-not" || wrong "why-not does not say it"
echo older >"$work/used/tools.versions"
check "older packages, newer ones cannot be fetched" 0 "unpacked earlier are used" \
  env PATH="$work/bin:$PATH" ./packages.sh "$work/used"
check "a command that fails" 3 "begun" ./run.sh --verbatim "echo begun; exit 3"
check "a test that does not exist" 1 "not found" ./run.sh tests/system/test_listen.py::test_none
check "a time limit" 1 "after its limit of 2 s" ./run.sh --limit 2 --verbatim true
check "a machine that ends early" 1 "before its commands did" ./run.sh --verbatim "poweroff -f"
check_signal
exit $failed
