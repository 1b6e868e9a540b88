#!/usr/bin/env bash
# Unpacks what the host platform and its tests need of Debian's i386 libraries, with their headers,
# into build/i386/root, for the preset i686-host. Nothing is installed, root is not needed, and this
# machine's own package manager does not hear of i386. What is there stays while its packages are
# the newest ones, or when none can be fetched. Status 77 where they are not to be had;
# build/i386/why-not then says why.
set -euo pipefail
cd "$(dirname "$0")/.."

packages="libboost-dev libc6-dev libgmock-dev libgtest-dev libmnl-dev libnftnl-dev libnl-route-3-dev
  librapidcheck-dev libsnmp-dev libspdlog-dev libstdc++6 libsystemd-dev libxml2-dev libyang2-dev"

cannot() {
  echo "$*" | tee why-not >&2
  exit 77
}

# A package manager with lists and a state of its own, and the machine's sources.
describe_apt() {
  mkdir -p state/lists/partial cache/archives/partial
  : >state/status
  cat >apt.conf <<END
APT::Architecture "i386";
APT::Architectures { "i386"; };
APT::Sandbox::User "";
Acquire::Languages "none";
Acquire::Retries "1";
Acquire::http::Timeout "20";
Dir::State "$PWD/state";
Dir::State::status "$PWD/state/status";
Dir::Cache "$PWD/cache";
END
  export APT_CONFIG=$PWD/apt.conf
}

# As NAME=VERSION: libraries alone of all that installing would bring, without those of programs
# that are not run and of headers that nothing includes.
wanted() {
  # shellcheck disable=SC2086
  apt-get -qq -s --no-install-recommends install $packages |
    sed -n 's/^Inst \([^ ]*\) (\([^ ]*\) .*/\1=\2/p' | grep -E '^(lib|zlib1g=|linux-libc-dev=)' |
    grep -vE '^lib(.*-perl=|asan|ubsan|gomp|itm|quadmath)'
}

# Links to absolute paths would lead out of the root.
turn_links() {
  local link target
  find "$1" -type l -lname '/*' | while read -r link; do
    target=$(readlink "$link")
    ln -sfr "$1$target" "$link"
  done
}

unpack() {
  local file
  for file in packages/*.deb; do
    dpkg -x "$file" new
  done
  turn_links "$PWD/new"
}

mkdir -p build/i386
cd build/i386
exec 9>lock
flock 9
describe_apt
# A list that cannot be fetched may not be needed.
apt-get -qq update >fetch.log 2>&1 || true
if ! wanted >list 2>>fetch.log; then
  [ ! -e root.list ] || { echo "Packages unpacked earlier are used."; exit 0; }
  cannot "Debian's i386 packages are not known: $(grep -m 1 . fetch.log || true)"
fi
[ ! -e root.list ] || ! cmp -s list root.list || exit 0
rm -rf packages new root root.list
mkdir packages
# shellcheck disable=SC2046
(cd packages && apt-get -qq download $(cat ../list)) >>fetch.log 2>&1 ||
  cannot "Debian's i386 packages cannot be fetched: $(grep -m 1 '^E:' fetch.log || true)"
unpack
mv new root
mv list root.list
rm -rf packages cache why-not
