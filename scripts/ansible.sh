#!/usr/bin/env bash
# Unpacks Ansible's collections for NETCONF from Debian's package `ansible` into build/ansible/root,
# where that package is not installed: of its 250 MB two are needed. What is there stays while its
# package is the newest one, or when none can be fetched. Status 77 where it is not to be had;
# build/ansible/why-not then says why.
set -euo pipefail
cd "$(dirname "$0")/.."

collections=usr/lib/python3/dist-packages/ansible_collections

cannot() {
  echo "$*" | tee why-not >&2
  exit 77
}

mkdir -p build/ansible
cd build/ansible
exec 9>lock
flock 9
[ ! -d "/$collections/ansible/netcommon" ] || exit 0
version=$(apt-cache policy ansible | sed -n 's/^ *Candidate: //p')
[ -e root ] && [ "$(cat root.version)" = "$version" ] && exit 0
rm -rf new ./*.deb
if ! apt-get -qq -o APT::Sandbox::User="" download "ansible=$version" >fetch.log 2>&1; then
  [ ! -e root ] || { echo "The package unpacked earlier is used."; exit 0; }
  cannot "Debian's ansible cannot be fetched: $(grep -m 1 '^E:' fetch.log || true)"
fi
mkdir new
dpkg-deb --fsys-tarfile ansible_*.deb |
  tar -x -C new --wildcards "./$collections/ansible/netcommon/*" "./$collections/ansible/utils/*"
rm -rf root ansible_*.deb why-not
mv new root
echo "$version" >root.version
