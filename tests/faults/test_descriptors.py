"""Few descriptors: a start ends with a fault or has all it needs, and what a running daemon cannot
do without is refused or told, and done when there are enough again."""

import os
import resource

from lab.netconf import Client
from lab.wait import wait_until

from . import settings
from .bench import ACKNOWLEDGED, DEADLINE, NO_ANSWER, REFUSED, each
from .cases import prepare_start
from .settings import NEW, OLD
from .table import Violation

# Below this a program is not even loaded.
LEAST = 3
ENOUGH = 1024


def few_at_start(bench, count):
    prepare_start(bench, first=False)
    since = bench.daemon.mark()
    # Who may raise limits would.
    up = bench.start("setpriv", "--bounding-set=-sys_resource", "prlimit", f"--nofile={count}")
    if not up:
        status = bench.end()
        if status <= 0 or not bench.daemon.lines[since:]:
            raise Violation(f"status {status}\n{bench.last_records()}")
        bench.must_start()
    if bench.settings() != NEW:
        raise Violation(f"stored is {bench.settings()}")
    bench.check()
    return "ready" if up else "ended, and started with more"


def test_few_descriptors_at_start(benches, row):
    each(benches, row, row.sample(range(LEAST, 100), 24), few_at_start)
    row.hold(least=20)


class Limit:
    """No descriptor from `count` on for a daemon. Use it as a context manager."""

    def __init__(self, bench, count):
        self.process, self.count = bench.daemon.process.pid, count

    def __enter__(self):
        self.before = resource.prlimit(self.process, resource.RLIMIT_NOFILE)
        resource.prlimit(self.process, resource.RLIMIT_NOFILE, (self.count, self.before[1]))
        return self

    def __exit__(self, *_):
        if os.path.exists(f"/proc/{self.process}"):
            resource.prlimit(self.process, resource.RLIMIT_NOFILE, self.before)


def first_free(bench):
    """The lowest number that no descriptor of the daemon has."""
    taken = set(map(int, os.listdir(f"/proc/{bench.daemon.process.pid}/fd")))
    return next(number for number in range(ENOUGH) if number not in taken)


def few_in_commit(bench, spare):
    """`spare` descriptors are left when the commit begins; fewer than none make no difference."""
    bench.bring(OLD)
    since = bench.daemon.mark()
    with Client(bench.daemon.netconf_socket, seconds=DEADLINE) as client:
        client.get_config()
        with Limit(bench, first_free(bench) + spare):
            answer = bench.outcome(lambda: client.edit(settings.edit(OLD, NEW)))
            if bench.ends_soon(answer == NO_ANSWER):
                return ended(bench, answer)
            allowed = {ACKNOWLEDGED: [NEW], REFUSED: [OLD], NO_ANSWER: [OLD, NEW]}[answer]
            if bench.settings() not in allowed:
                raise Violation(f"{answer}, but stored is {bench.settings()}")
            differs = bench.lasting_differences()
            if differs and not bench.told(since):
                raise Violation(f"{answer}, and in silence {differs}\n{bench.last_records()}")
    # From here on there are enough again.
    wait_until(lambda: bench.ask(Client.get_config) == ACKNOWLEDGED, "sessions", DEADLINE)
    found = bench.lasting_differences(40)
    if found:
        raise Violation(f"{answer}, told, not healed: {found}\n{bench.last_records()}")
    bench.check()
    return answer + (", rest told and healed" if differs else "")


def ended(bench, answer):
    """What follows a daemon that has ended instead."""
    status = bench.end()
    allowed = [NEW] if answer == ACKNOWLEDGED else [OLD, NEW]
    if status != 1 or bench.settings() not in allowed:
        raise Violation(f"{answer}, ended with status {status}, stored is {bench.settings()}\n"
                        f"{bench.last_records()}")
    bench.must_start()
    bench.check()
    return "ended, and started"


def test_few_descriptors_in_a_commit(benches, row):
    each(benches, row, range(12), few_in_commit)
    row.hold(least=12)
