#!/usr/bin/env bash
# Runs the tour, system tests or a shell on a kernel with VRF devices: Debian's own, emulated.
# Status 77 where the packages that this needs are not to be had; build/vm/why-not then says why.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
tree=$(cd "$here/../.." && pwd)
. "$tree/scripts/common.sh"

usage() {
  cat >&2 <<END
usage: run.sh [OPTION...] [tour] [PYTEST ARGUMENT...]
       run.sh [OPTION...] short | long
       run.sh [OPTION...] --shell
  short, long      the tour with a test of each kind, or with all that VRF devices matter for
  --build FOLDER   whose programs, build/release otherwise
  --xml FILE       where the outcome of the tests goes, as JUnit has it
  --limit SECONDS  how long the emulated machine may run, 900 otherwise; a shell has no limit
  --verbatim TEXT  runs a line of shell instead
END
  exit 2
}

# The words that stand for a suite.
suite() {
  local file
  cd "$tree"
  echo tour
  if [ "$1" = short ]; then
    echo tests/system/test_listen.py::test_three_networks_at_once
    echo tests/system/test_targets.py::test_trap_leaves_by_the_network_of_its_target
    return
  fi
  for file in tests/system/test_{listen,targets,data_path,link_local,vrf_devices}.py; do
    [ ! -e "$file" ] || echo "$file"
  done
  # 4,937 interfaces: without emulation they are the same.
  echo --deselect=tests/system/test_listen.py::\
test_no_redirect_port_left_ends_the_process_inside_the_transaction
}

# What the emulated machine runs: the words given, tour first. Commands have a pipe for their
# output: on a terminal some draw.
commands() {
  cat <<'END'
export SNMP_APP_BUILD=$PWD/build/release PYTHONUNBUFFERED=1
# Every command of an operator is a connection of its own: half of the time is cryptography.
export SNMP_APP_LAB_SSHD="KexAlgorithms ecdh-sha2-nistp256
Ciphers aes128-ctr
MACs hmac-sha2-256"
stty -echo -onlcr
END
  if [ -n "$verbatim" ]; then
    printf 'set -o pipefail\n(%s) 2>&1 | cat\n' "$verbatim"
    return
  fi
  printf 'status=0\nset -o pipefail\n'
  if [ "${1:-}" = tour ]; then
    echo "/usr/bin/python3 demo/tour.py --build build/release --once 2>&1 | cat || status=1"
    shift
  fi
  [ $# -eq 0 ] || printf '%s%s 2>&1 | cat || status=1\n' "/usr/bin/python3 -m pytest -q -rs \
--tb=short -p no:cacheprovider --junitxml /opt/results/tests.xml" "$(printf ' %q' "$@")"
  # shellcheck disable=SC2016
  echo 'exit $status'
}

shell_commands() {
  cat <<'END'
export SNMP_APP_BUILD=$PWD/build/release
stty sane
mount -t tmpfs tmpfs /run; mkdir -p /run/netns
echo "-- exit ends the machine. Tests: python3 -m pytest -q -p no:cacheprovider tests/system/FILE"
setsid --ctty --wait bash -i
exit 0
END
}

# Ends what this script started and removes what it made, however it ends.
# shellcheck disable=SC2317
clean_up() {
  [ -z "$machine" ] || { kill "$machine" && wait "$machine"; } 2>/dev/null || true
  rm -rf "$work"
}

boot() {
  local tools=$folder/tools
  cat "$folder/base.cpio" "$work/tree.cpio" >"$work/all.cpio"
  # Without what costs time and guards against nothing here: 22 s of processor time instead of 25.
  LD_LIBRARY_PATH=$tools/usr/lib/x86_64-linux-gnu:$tools/lib/x86_64-linux-gnu \
    exec timeout --foreground --kill-after=5 "$limit" "$tools/usr/bin/qemu-system-x86_64" \
    -accel tcg,thread=multi,tb-size=512 -smp 2 -m 1536 -nic none -no-reboot -nodefaults \
    -M pc,usb=off,vmport=off,smm=off -cpu max,-smap,-smep,-erms,-fsrm,-pku,-xsave,-umip \
    -L "$tools/usr/share/qemu" -L "$tools/usr/share/seabios" -display none -monitor none \
    -chardev stdio,id=console,signal=off -serial chardev:console \
    -serial "file:$work/results.tar" \
    -kernel "$(echo "$tools"/boot/vmlinuz-*)" -initrd "$work/all.cpio" -append "console=ttyS0 \
loglevel=2 panic=-1 mitigations=off tsc=reliable no_timer_check rcupdate.rcu_expedited=1 audit=0 \
apparmor=0 selinux=0 cryptomgr.notests random.trust_cpu=on"
}

# All of it is read before it begins: the file may change while an hour of tests runs.
main() {
  build=$tree/build/release xml='' limit=900 shell='' verbatim=''
  while [[ ${1:-} == --* ]]; do
    case $1 in
      --build) build=$(cd "$2" && pwd) && shift ;;
      --xml) xml=$2 && shift ;;
      --limit) limit=$2 && shift ;;
      --verbatim) verbatim=$2 && shift ;;
      --shell) shell=yes limit=0 ;;
      *) usage ;;
    esac
    shift
  done
  [ $# -gt 0 ] || [ -n "$shell$verbatim" ] || usage
  case "$*" in
    short | long) mapfile -t words < <(suite "$1") && set -- "${words[@]}" ;;
  esac

  folder=$tree/build/vm
  "$here/packages.sh" "$folder"
  flock "$folder/lock" /usr/bin/python3 "$here/image.py" "$folder" \
    "$build"/{src/app/snmp-app,client/snmp-app-show}
  machine='' work=$(mktemp -d "$folder/run.XXXXXX")
  trap clean_up EXIT
  trap 'exit 130' INT TERM HUP
  if [ -n "$shell" ]; then shell_commands; else commands "$@"; fi >"$work/command"
  /usr/bin/python3 "$here/pack.py" "$work/tree.cpio" "$build" "$work/command"

  status=0
  if [ -n "$shell" ]; then
    (boot) || status=$?
  else
    boot </dev/null &
    machine=$!
    wait "$machine" || status=$?
    machine=
  fi
  [ "$status" -ne 124 ] || fail "the emulated machine was ended after its limit of $limit s"
  [ "$status" -eq 0 ] || fail "the emulator ended with status $status"
  tar -x -C "$work" -f "$work/results.tar" 2>/dev/null || true
  [ -s "$work/status" ] || fail "the emulated machine ended before its commands did"
  [ -z "$xml" ] || cp "$work/tests.xml" "$xml"
  exit "$(cat "$work/status")"
}

main "$@"
