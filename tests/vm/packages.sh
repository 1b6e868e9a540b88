#!/usr/bin/env bash
# packages.sh FOLDER: unpacks an emulator, Debian's kernel for clouds, which has VRF devices, and
# busybox into FOLDER/tools. Nothing is installed, and root is not needed. FOLDER/tools stays while
# its packages are the newest that this machine knows of, or when newer ones cannot be fetched.
# Status 77 where the packages are not to be had; FOLDER/why-not then says why.
set -euo pipefail

cannot() {
  echo "$*" | tee why-not >&2
  exit 77
}

# The versions that this machine knows of; cheap, for it is asked each time.
versions() {
  LC_ALL=C apt-cache policy qemu-system-x86 busybox-static linux-image-cloud-amd64 |
    grep -E '^[a-z]|Candidate:' || true
}

# The packages as NAME=VERSION: an emulator and busybox with those that they depend on and that this
# machine lacks, and the kernel alone: what it depends on is for installing it. The first two are
# wanted even when they are installed: the next machine does not have them.
wanted() {
  local all kernel
  all=$(apt-get -qq -s -o Dir::State::status=/dev/null --no-install-recommends \
    install qemu-system-x86 busybox-static 2>/dev/null) || return 1
  kernel=$(apt-cache depends linux-image-cloud-amd64 | grep -o 'linux-image-[0-9].*' | head -n 1)
  [ -n "$kernel" ] || return 1
  sed -n 's/^Inst \([^ ]*\) (\([^ ]*\) .*/\1=\2/p' <<<"$all" | while IFS='=' read -r name version; do
    case $name in
      qemu-system-* | busybox-static | seabios | ipxe-qemu) ;;
      *) ! is_installed "$name" || continue ;;
    esac
    echo "$name=$version"
  done
  echo "$kernel=$(apt-cache show --no-all-versions "$kernel" | sed -n 's/^Version: //p')"
}

is_installed() {
  [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# Asks for what packages there are, in lists of this folder's own: /var belongs to root.
update() {
  mkdir -p lists/partial
  apt-get -qq "${apt[@]}" update
}

# fetch FOLDER NAME=VERSION...: downloads packages there; without any it fails.
fetch() {
  [ $# -gt 1 ] && mkdir -p "$1" || return
  (cd "$1" && apt-get -qq "${apt[@]}" download "${@:2}")
}

unpack() {
  local file
  for file in "$1"/*.deb; do
    dpkg -x "$file" "$2"
  done
  "$2"/bin/busybox depmod -b "$2" "$(ls "$2/lib/modules")"
}

[ $# -eq 1 ] || { echo "usage: packages.sh FOLDER" >&2; exit 2; }
mkdir -p "$1"
cd "$1"
apt=(-o APT::Sandbox::User= -o Acquire::Retries=1 -o Acquire::http::Timeout=20)
[ "$(dpkg --print-architecture)" = amd64 ] || cannot "only machines of kind amd64 can make it"

exec 9>lock
flock 9
rm -rf new
[ ! -e tools.versions ] || [ "$(versions)" != "$(cat tools.versions)" ] || exit 0
# shellcheck disable=SC2046
if ! fetch new/packages $(wanted) 2>fetch.log; then
  # As a file, for apt-cache takes no such option.
  echo "Dir::State::Lists \"$PWD/lists\";" >apt.conf
  export APT_CONFIG=$PWD/apt.conf
  # shellcheck disable=SC2046
  if ! { update && fetch new/packages $(wanted); } >fetch.log 2>&1; then
    [ ! -e tools.versions ] || { echo "Packages unpacked earlier are used."; exit 0; }
    cannot "its packages cannot be fetched: $(grep -m 1 . fetch.log || echo "none are known")"
  fi
fi
unpack new/packages new/tools
rm -rf tools tools.versions
mv new/tools tools
unset APT_CONFIG
versions >tools.versions
rm -rf new lists apt.conf
