"""Thousands of signals a second, while searches and commits are made."""

import os
import signal
import time

from .bench import ACKNOWLEDGED
from .process import children
from .settings import OLD, OTHER, XPATH
from .table import Stopwatch
from .together import Together

SIGNALS = (signal.SIGUSR1, signal.SIGUSR2, signal.SIGCHLD, signal.SIGCONT)
RATE = 3000


class Storm(Together):
    """Signals to a process until the end of the block."""

    def __init__(self, process):
        super().__init__(self._send, pause=0.001)
        self._process, self.sent = process, 0
        self.begin = time.monotonic()

    def __exit__(self, *error):
        super().__exit__(*error)
        self.seconds = time.monotonic() - self.begin

    def _send(self):
        while self.sent < (time.monotonic() - self.begin) * RATE:
            os.kill(self._process, SIGNALS[self.sent % len(SIGNALS)])
            self.sent += 1


def test_signals_while_it_works(benches, row):
    """Neither a search nor a commit is refused, and no copy is left behind."""
    bench = benches[0]
    bench.row = row
    bench.daemon.level = "notice"
    bench.bring(OLD)
    seconds = 60 if row.everything else 5
    searches = commits = 0
    with Stopwatch(row), Storm(bench.daemon.process.pid) as storm:
        while time.monotonic() - storm.begin < seconds:
            for _ in range(20):
                assert bench.ask(lambda client: client.get_config(filters=XPATH)) == ACKNOWLEDGED
                searches += 1
            assert bench.commit(OTHER[bench.settings()]) == ACKNOWLEDGED
            commits += 1
    assert children(bench.daemon.process.pid) == {}
    bench.check()
    row.note(f"{storm.sent / storm.seconds:.0f} signals a second, {searches} searches and {commits} "
             "commits, 0 refused, 0 copies left")
    assert storm.sent / storm.seconds > 2000
    bench.daemon.level = "progress"
    row.hold()
