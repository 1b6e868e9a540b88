"""Rows of the checker: each is one sentence of an RFC, and what shows that it holds."""

import collections
import functools

import pytest

from netconf_conformance.known import KNOWN
from netconf_conformance.session import Error

LEVELS = ("MUST", "SHOULD", "MAY")
PASSED, FAILED, EXPECTED = "passed", "failed", "known"


class Table:
    """What came of the checks, by RFC and level."""

    def __init__(self):
        self.outcomes = collections.defaultdict(collections.Counter)
        self.known = []

    def note(self, rfc, level, outcome):
        self.outcomes[rfc][level, outcome] += 1

    def judge(self, rfc, level, name, run):
        """Has a check run, and notes what came of it. One that is known not to hold has to fail,
        and by what it asserts, not by a session that has ended."""
        try:
            run()
        except Exception as error:
            is_known = name in KNOWN and isinstance(error, AssertionError)
            self.note(rfc, level, EXPECTED if is_known else FAILED)
            if not is_known:
                raise
            self.known.append(name)
            return
        if name in KNOWN:
            self.note(rfc, level, FAILED)
            raise AssertionError(f"it holds, and is no more one of those that do not: {name}")
        self.note(rfc, level, PASSED)

    def lines(self):
        if not self.outcomes:
            return
        yield "RFC     level    checks  passed  failed  known not to hold"
        for rfc in sorted(self.outcomes, key=int):
            for level in LEVELS:
                counts = [self.outcomes[rfc][level, outcome]
                          for outcome in (PASSED, FAILED, EXPECTED)]
                if sum(counts):
                    yield "{:<7} {:<7} {:7d} {:7d} {:7d} {:7d}".format(rfc, level, sum(counts),
                                                                       *counts)
        yield "all {:19d} checks".format(sum(sum(row.values()) for row in self.outcomes.values()))
        for name in self.known:
            yield f"known not to hold: {name}: {KNOWN[name]}"


class Checks:
    """The checks of one RFC that one file has. `test` is what pytest is to see."""

    def __init__(self, rfc):
        self.rfc = rfc
        self.rows = {}

    def _add(self, level, section, text, run):
        name = f"RFC {self.rfc} {section} {level} {text}"
        assert name not in self.rows, name
        self.rows[name] = (level, run)

    def _row(self, level, section, text):
        def add(run):
            self._add(level, section, text, run)
            return run
        return add

    def must(self, section, text):
        return self._row("MUST", section, text)

    def should(self, section, text):
        return self._row("SHOULD", section, text)

    def may(self, section, text):
        return self._row("MAY", section, text)

    def each(self, level, section, run, *rows):
        """Checks of one form: a text, and what `run` is given behind the bench."""
        for text, *values in rows:
            self._add(level, section, text, functools.partial(_call, run, values))

    def test(self):
        @pytest.mark.parametrize("name", list(self.rows))
        def test_rfc(bench, table, name):
            level, run = self.rows[name]
            table.judge(self.rfc, level, name, lambda: run(bench))
        return test_rfc


def _call(run, values, bench):
    return run(bench, *values)


def refused(reply, kind, tag, info=None, path="", app_tag=""):
    """That a reply is this one error and nothing else."""
    error = reply if isinstance(reply, Error) else reply.error
    seen = (error.type, error.tag, error.severity, error.app_tag, error.path, error.info)
    assert seen == (kind, tag, "error", app_tag, path, info or {}), repr(error)
    assert error.message, repr(error)
    return error
