"""The wall clock is wrong, or jumps. Everything goes on, and nothing is done more often or later."""

import contextlib
import datetime
import itertools
import time

from lab import snmp
from lab.netconf import NS
from lab.site import DEFAULT

from .bench import ACKNOWLEDGED, each
from .process import status
from .settings import NEW, OLD
from .table import Stopwatch, Violation
from .together import Together

YEAR = 365 * 86400
ABSENT = "198.51.100.77"
RETRY = "Starting timer for new bind retry"
REBOUND = "Forced ConfD's bind of SNMP, returned 0"
STARTS = (1970, 2038, 2039, 2106, 2200)


def offset_of(year):
    """Seconds from now to the second day of a year."""
    return int(datetime.datetime(year, 1, 2, tzinfo=datetime.timezone.utc).timestamp() -
               time.time())


def year_told(bench):
    """Which year the daemon takes it for."""
    return int(bench.daemon.lines[-1][:4])


def begin_in(preload, bench, year):
    """Start, commit, state, answers and end in a year."""
    bench.clear()
    preload["clock_offset"] = offset_of(year)
    bench.bring(OLD)
    if year_told(bench) != year:
        raise Violation(f"it is {year} and not {year_told(bench)}")
    bench.check()
    if bench.commit(NEW) != ACKNOWLEDGED:
        raise Violation(bench.last_records())
    bench.check()
    bench.ask(lambda client: client.get())
    status = bench.stop()
    if status != 0:
        raise Violation(f"ends with status {status}")
    return "as ever"


def test_a_start_in_another_year(benches, loaded, row):
    each(benches, row, STARTS, lambda bench, year: begin_in(loaded[bench], bench, year))
    row.hold(len(STARTS))


def uptime(bench):
    """sysUpTime, in seconds."""
    text = snmp.get(bench.site.managers["default"], DEFAULT, oid=snmp.SYS_UPTIME)
    return int(text.split("(")[1].split(")")[0]) / 100


def retries(bench):
    counts = []
    bench.ask(lambda client: counts.append(
        int(client.state().findtext(".//state:retries", namespaces=NS))))
    return counts[0]


def wake_ups(bench):
    return status(bench.daemon.process.pid, "voluntary_ctxt_switches")


@contextlib.contextmanager
def jumping(preload):
    """The clock is a year ahead and a year behind in turn, until the end of the block."""
    offsets = itertools.cycle((YEAR, -YEAR))

    def jump():
        preload["clock_offset"] = next(offsets)

    try:
        with Together(jump, pause=0.05) as jumps:
            yield jumps
    finally:
        preload["clock_offset"] = 0


@contextlib.contextmanager
def absent_address(router):
    """It is there until the end of the block."""
    router.add_address("eth0", f"{ABSENT}/24")
    try:
        yield
    finally:
        router.remove_address("eth0", f"{ABSENT}/24")


def listens_to_the_absent(bench, operation):
    return bench.ask(lambda client: client.edit(
        '<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent>'
        f'<extraIpPorts nc:operation="{operation}">{ABSENT}:161</extraIpPorts>'
        "</snmpAgent></confdConfig>"))


def test_the_clock_jumps_a_year_to_and_fro(benches, loaded, row):
    """A retry of five seconds is pending meanwhile."""
    bench = benches[0]
    bench.row = row
    bench.bring(OLD)
    before = uptime(bench)
    since = bench.daemon.mark()
    assert listens_to_the_absent(bench, "create") == ACKNOWLEDGED
    bench.daemon.wait_record(RETRY, since)
    begin, first, woken = time.monotonic(), retries(bench), wake_ups(bench)
    with Stopwatch(row), jumping(loaded[bench]) as jumps:
        bench.daemon.wait_record(RETRY, since, seconds=12, count=2)
        count, woken = retries(bench) - first, wake_ups(bench) - woken
        seconds = time.monotonic() - begin
        with absent_address(bench.site.router):
            bench.timed(lambda: bench.daemon.wait_record(REBOUND, since, seconds=12))
            assert snmp.answers(bench.site.managers["default"], ABSENT)
        passed = uptime(bench) - before
        assert listens_to_the_absent(bench, "delete") == ACKNOWLEDGED
        assert bench.commit(NEW) == ACKNOWLEDGED
    row.note(f"{jumps.count} jumps, {count} retry and {woken} wake-ups in {seconds:.1f} s")
    assert count == 1 and 4.9 < seconds < 8 and woken < 100
    assert 0 <= passed < 60, "sysUpTime does not follow the wall clock"
    bench.check()
    row.hold()
