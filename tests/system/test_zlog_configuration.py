"""The log configuration for a system with zlog, read as zlog's User's Guide (5.2 to 5.5) has it.
Debian has no package of zlog, so the library itself does not read it here."""

import os
import re

import pytest

from lab.daemon import TREE

# A record of the program, by conversion character. The date's own format is strftime's.
RECORD = {"c": "snmp-app-agent", "ms": "678", "F": "src/app/snmp_cfg_agent", "f": "snmp_cfg_agent",
          "L": "148", "U": "LoadInitialConfig", "m": "Loading SNMP agent configuration", "n": "\n",
          "V": "PROGRESS", "v": "progress", "%": "%"}
DATE = {"F": "2026-01-02", "T": "03:04:05"}


def text(*name):
    with open(os.path.join(TREE, *name), encoding="utf-8") as file:
        return file.read()


def sections():
    """The lines of each section; what stands before the first one has none."""
    found, lines = {}, None
    for line in text("packaging", "zlog.conf").splitlines():
        if not line or line.startswith("#"):
            continue
        if line.startswith("["):
            lines = found.setdefault(line, [])
        else:
            lines.append(line)
    return found


def convert(pattern, values):
    """What a pattern prints: %[-][width]CHARACTER, %d(FORMAT), any other text as it is."""
    def one(match):
        date, left, width, character = match.groups()
        if date is not None:
            return convert(date, DATE)
        value = values[character]
        return value.ljust(int(width or 0)) if left else value.rjust(int(width or 0))

    return re.sub(r"%(?:d\(([^)]*)\)|(-?)(\d*)(ms|.))", one, pattern)


def formats():
    return dict(re.fullmatch(r'(\w+) = "(.*)"', line).groups() for line in sections()["[formats]"])


def test_sections_stand_in_their_order():
    assert list(sections()) == ["[levels]", "[formats]", "[rules]"]


def test_levels_are_those_of_the_program():
    levels = {}
    for line in sections()["[levels]"]:
        name, number = re.fullmatch(r"(\w+) = (\d+), LOG_(?:DEBUG|INFO|NOTICE)", line).groups()
        levels[name.lower()] = int(number)
    numbers = dict(re.findall(r"\bk(Detail|Progress|Notice) = (\d+)", text("include/app/trace.h")))
    assert levels == {name.lower(): int(number) for name, number in numbers.items()}


def test_record_is_printed_as_without_zlog():
    assert convert(formats()["record"], RECORD) == (
        "2026-01-02T03:04:05.678 progress snmp-app-agent "
        "[src/app/snmp_cfg_agent:148 LoadInitialConfig] Loading SNMP agent configuration\n")
    assert convert(formats()["record"], {**RECORD, "v": "notice"}).startswith(
        "2026-01-02T03:04:05.678 notice   snmp-app-agent [")


def test_unknown_conversion_is_told():
    with pytest.raises(KeyError):
        convert("%q", RECORD)


def test_rules_name_a_level_and_a_format():
    for line in sections()["[rules]"]:
        level, name = re.fullmatch(r"\*\.([A-Z]+) >stderr; (\w+)", line).groups()
        assert any(level_line.startswith(level + " ") for level_line in sections()["[levels]"])
        assert name in formats()
