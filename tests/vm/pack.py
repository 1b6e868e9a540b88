#!/usr/bin/env python3
"""pack.py OUT BUILD COMMAND: what the emulated machine has beside its base: this tree as it lies
here, without sources; the programs of a build folder, without what debuggers need; a command."""

import os
import subprocess
import sys
import tempfile

from initramfs import PROGRAM, Archive

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PARTS = ("client", "demo", "docs", "packaging", "scripts", "tests", "yang", "README.md")
PROGRAMS = ("src/app/snmp-app", "client/snmp-app-show")
INSIDE = "opt/snmp-app"


def listed():
    """The tree's files of these parts, new ones included."""
    names = subprocess.run(["git", "-C", TREE, "ls-files", "-z", "--cached", "--others",
                            "--exclude-standard", "--", *PARTS],
                           stdout=subprocess.PIPE, check=True).stdout
    return [name for name in names.decode().split("\0")
            if name and os.path.lexists(os.path.join(TREE, name))]


def stripped(path):
    with tempfile.NamedTemporaryFile() as file:
        subprocess.run(["strip", "--strip-debug", "-o", file.name, path], check=True)
        with open(file.name, "rb") as result:
            return result.read()


def main(out, build, command):
    with Archive(out) as archive:
        for name in listed():
            archive.copy(os.path.join(TREE, name), f"{INSIDE}/{name}")
        for name in PROGRAMS:
            archive.add(f"{INSIDE}/build/release/{name}", PROGRAM,
                        stripped(os.path.join(build, name)))
        archive.copy(command, "opt/command")


if __name__ == "__main__":
    main(*sys.argv[1:])
