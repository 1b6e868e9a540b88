"""What was tried and what came of it: a row for each kind of fault."""

import collections
import random
import threading
import time


class Violation(AssertionError):
    """An outcome that must not be."""


class Row:
    """One kind of fault. Its cases may run at the same time."""

    def __init__(self, name, seed, everything, part=(1, 1)):
        self.name, self.seed, self.everything, self.part = name, seed, everything, part
        self.chance = random.Random(f"{seed} {name}")
        self.outcomes = collections.Counter()
        self.figures = collections.Counter()
        self.violations = []
        self.worst_wait = 0.0
        self.seconds = 0.0
        self._lock = threading.Lock()

    def all_of(self, cases):
        """What --all does of the cases: the first of two parts is every other one."""
        number, parts = self.part
        return list(cases)[number - 1::parts]

    def sample(self, cases, count):
        """So many of the cases, in their order; all of them with --all."""
        cases = list(cases)
        if self.everything:
            return self.all_of(cases)
        if len(cases) <= count:
            return cases
        return [cases[number] for number in sorted(self.chance.sample(range(len(cases)), count))]

    def note(self, outcome):
        """Counts an outcome. One in brackets is of a case in which nothing was done."""
        with self._lock:
            self.outcomes[outcome] += 1

    def count(self, what, number=1):
        """A further figure of the row."""
        with self._lock:
            self.figures[what] += number

    def waited(self, seconds):
        """How long something of the daemon took to come, while or after a fault was done."""
        with self._lock:
            self.worst_wait = max(self.worst_wait, seconds)

    def violate(self, case, error):
        with self._lock:
            self.outcomes["VIOLATED"] += 1
            self.violations.append(f"{case}: {error}")

    def tried(self):
        return sum(count for outcome, count in self.outcomes.items()
                   if not outcome.startswith("("))

    def hold(self, least=1):
        """The end of a row: none of its outcomes is one that must not be, and enough was tried."""
        if self.violations:
            all_of_them = "\n".join(text.split("\n")[0] for text in self.violations)
            raise Violation(f"FAULTS_SEED={self.seed}, {self.name}: {len(self.violations)} of "
                            f"{self.tried()}\n{all_of_them}\n\nThe first ones:\n" +
                            "\n\n".join(self.violations[:3]))
        assert self.tried() >= least // self.part[1], (
            f"{self.name}: {self.tried()} tried, {dict(self.outcomes)}")


class Table:
    """All rows of a run."""

    def __init__(self, seed, everything, part=(1, 1)):
        self._of_rows = seed, everything, part
        self.rows = []

    def row(self, name):
        self.rows.append(Row(name, *self._of_rows))
        return self.rows[-1]

    def lines(self):
        """The table as text."""
        if not self.rows:
            return []
        width = max(len(row.name) for row in self.rows)
        head = f"{'fault':{width}}  {'seed':>10}  tried  worst wait  seconds  outcomes"
        return [head] + [
            f"{row.name:{width}}  {row.seed:>10}  {row.tried():5}  {row.worst_wait:8.2f} s  "
            f"{row.seconds:7.1f}  " + ", ".join(
                f"{outcome}: {count}" for counts in (row.outcomes, row.figures)
                for outcome, count in sorted(counts.items()))
            for row in self.rows]


class Stopwatch:
    """Adds the time of a block to a row's."""

    def __init__(self, row):
        self.row = row

    def __enter__(self):
        self._begin = time.monotonic()

    def __exit__(self, *_):
        self.row.seconds += time.monotonic() - self._begin
