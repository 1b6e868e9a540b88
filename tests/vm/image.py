#!/usr/bin/env python3
"""image.py FOLDER PROGRAM...: FOLDER/base.cpio, the emulated machine's file system without this
tree: what the tour, the system tests and these programs need of this machine's installed packages,
and the kernel's modules for networks. It is kept while all of these are the same."""

import hashlib
import os
import re
import sys

from initramfs import FOLDER, LINK, Archive
from system_files import Packages, files_of, libraries_of

HERE = os.path.dirname(os.path.abspath(__file__))
ROOTS = """bash coreutils dash findutils grep iproute2 libc-bin mount ncurses-base netbase nftables
openssh-client openssh-server procps python3 python3-ncclient python3-pytest sed snmp snmptrapd
socat strace tar util-linux yangcli""".split()
MODULES = re.compile(r"modules\.|kernel/(net/(core|ipv4|ipv6|llc|802|8021q|netfilter|packet)/|"
                     r"drivers/net/(dummy|macvlan|veth|vrf)\.ko|crypto/|lib/)")
APPLETS = ("insmod", "lsmod", "modprobe", "poweroff")


def write(path, packages, modules, busybox):
    with Archive(path) as archive:
        for name in ("/bin", "/sbin", "/lib", "/lib64"):
            archive.copy(name)
        for name in "dev home mnt opt proc root run sys tmp var/tmp".split():
            archive.add(name, FOLDER)
        for name in ("passwd", "group", "nsswitch.conf", "ld.so.cache"):
            archive.copy(f"/etc/{name}")
        for name in files_of(packages):
            archive.copy(name)
        for folder, _, names in os.walk(modules):
            for name in names:
                place = os.path.relpath(os.path.join(folder, name), modules)
                if MODULES.match(place):
                    archive.copy(os.path.join(folder, name),
                                 f"usr/lib/modules/{os.path.basename(modules)}/{place}")
        archive.copy(busybox, "usr/bin/busybox")
        for name in APPLETS:
            archive.add(f"usr/sbin/{name}", LINK, b"../bin/busybox")
        archive.copy(os.path.join(HERE, "init"), "init")


def key(packages, folder):
    """What the file system depends on."""
    with open(os.path.join(folder, "tools.versions"), encoding="utf-8") as file:
        versions = file.read()
    sources = hashlib.sha256()
    for name in ("image.py", "init", "initramfs.py", "system_files.py"):
        with open(os.path.join(HERE, name), "rb") as file:
            sources.update(file.read())
    return "\n".join([versions, sources.hexdigest(), *packages])


def main(folder, *programs):
    base, known = (os.path.join(folder, name) for name in ("base.cpio", "base.key"))
    all_modules = os.path.join(folder, "tools/lib/modules")
    modules = os.path.join(all_modules, os.listdir(all_modules)[0])
    packages = Packages().closure([*ROOTS, *libraries_of(programs)])
    wanted = key(packages, folder)
    if os.path.exists(known):
        with open(known, encoding="utf-8") as file:
            if file.read() == wanted:
                return
        os.unlink(known)
    write(base, packages, modules, os.path.join(folder, "tools/bin/busybox"))
    with open(known, "w", encoding="utf-8") as file:
        file.write(wanted)


if __name__ == "__main__":
    main(*sys.argv[1:])
