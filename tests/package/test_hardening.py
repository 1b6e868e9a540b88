"""The programs are hardened as Debian's own: what the build was told, and what came of it."""

import os
import re
import subprocess

import pytest

from lab.network import run

PROGRAMS = {"snmp-app": "usr/sbin/snmp-app", "snmp-app-show": "usr/bin/snmp-app-show"}
# Of a plain compiler's own working, or of the machine that the packages are built on.
NOT_HARDENING = re.compile(r"-g|-O2|-Wdate-time|-f(file|debug|macro)-prefix-map=.*|-s\w+=.*")


def asked_for(variable):
    """The flags that Debian hardens with."""
    text = run("dpkg-buildflags", "--get", variable,
               env={**os.environ, "DEB_BUILD_MAINT_OPTIONS": "hardening=+all"})
    return {flag for flag in text.split() if not NOT_HARDENING.fullmatch(flag)}


def build_commands():
    """Each command of the build of both programs."""
    text = run("ninja", "-C", os.environ["SNMP_APP_PACKAGE_BUILD"], "-t", "commands", *PROGRAMS)
    return [set(line.split()) for line in text.splitlines()]


def test_every_source_is_compiled_with_debians_flags():
    flags = asked_for("CXXFLAGS") | asked_for("CPPFLAGS")
    assert {"-fstack-protector-strong", "-D_FORTIFY_SOURCE=2"} <= flags
    compiled = [words for words in build_commands() if "-c" in words]
    assert len(compiled) > 50
    assert [flags - words for words in compiled if not flags <= words] == []


def test_every_program_is_linked_with_debians_flags():
    flags = asked_for("LDFLAGS")
    assert {"-Wl,-z,relro", "-Wl,-z,now"} <= flags
    for name, path in PROGRAMS.items():
        linked = [words for words in build_commands()
                  if "-c" not in words and any(word.endswith("/" + name) for word in words)]
        assert linked and all(flags <= words for words in linked), path


def told(content, program, *options):
    return subprocess.run(["readelf", "--wide", *options, str(content / PROGRAMS[program])],
                          capture_output=True, text=True, check=True).stdout


@pytest.mark.parametrize("program", PROGRAMS)
def test_programs_are_hardened(content, program):
    """Loaded anywhere, nothing writable once it is linked, all linked at the start, stacks and
    copies watched."""
    assert re.search(r"Type: +DYN", told(content, program, "--file-header"))
    flags = told(content, program, "--dynamic")
    assert re.search(r"FLAGS_1\).*\bNOW\b.*\bPIE\b", flags)
    assert "GNU_RELRO" in told(content, program, "--program-headers")
    assert not re.search(r"GNU_STACK.* RWE ", told(content, program, "--program-headers"))
    symbols = told(content, program, "--dyn-syms")
    assert "__stack_chk_fail" in symbols
    assert re.search(r"UND __\w+_chk\b", symbols)
