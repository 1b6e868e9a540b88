"""One allocation fails, anywhere: a request is refused, or the process ends and starts with what is
stored. What is stored is the old configuration or the new one, and never another one than the
client was told."""

import xml.etree.ElementTree as ET

from .bench import ACKNOWLEDGED, NO_ANSWER, REFUSED, each
from .preloaded import ALLOCATED_AT, DIED_AT
from .settings import NEW, OLD, OTHER, XPATH
from .table import Violation
from .test_calls import as_stored_or_told

OWN = "snmp-app("
NOT_READY = "not ready"


def sample(row, total, count):
    """Numbers of allocations: one from each of `count` equal parts; all of them with --all."""
    if row.everything:
        return row.all_of(range(1, total + 1))
    return [1 + int((part + row.chance.random()) * total / count) for part in range(count)]


def how_it_ended(bench, preload, has_begun):
    """The outcome of a process that has ended. A library may not survive that it gets no memory,
    and a program that has not begun has nothing to end; the daemon's own code ends in order."""
    status = bench.end()
    if status >= 0:
        return f"ended with status {status}"
    if not has_begun:
        return "ended before it began"
    callers = preload.callers(ALLOCATED_AT)
    if not callers or callers[0].startswith(OWN):
        raise Violation(f"signal {-status} in {preload.callers(DIED_AT)}\n{bench.last_records()}")
    return f"died in {callers[0].split('(')[0].split('.so')[0]}"


def goes_on(bench, preload, since, outcome):
    """All is as stored, in the end and behind another start where the daemon has ended."""
    bench.ends_soon(outcome == NO_ANSWER or bench.lasting_differences())
    if bench.is_up():
        return as_stored_or_told(bench, since, outcome)
    has_begun = (outcome != NOT_READY or
                 bool(bench.daemon.records("Initializing SNMP daemon", since)))
    outcome = f"{outcome}, {how_it_ended(bench, preload, has_begun)}"
    bench.must_start()
    bench.check()
    return outcome


def tells_the_place(trial):
    """A violation says where the memory was asked for that there was not."""
    def run(preload, bench, number, *more):
        try:
            outcome = trial(preload, bench, number, *more)
        except (Violation, AssertionError) as error:
            raise Violation(f"{str(error) or repr(error)}\nmemory was asked for in "
                            f"{preload.callers(ALLOCATED_AT)}") from error
        return outcome if preload["failed_allocations"] else "(none failed)"
    return run


@tells_the_place
def at_a_start(preload, bench, number):
    if bench.stored() is None:
        bench.bring(OLD)
    if bench.is_up():
        bench.stop()
    before = bench.stored()
    since = bench.daemon.mark()
    preload.fail_allocation(number)
    outcome = "ready" if bench.start() else NOT_READY
    preload.stop_failing()
    outcome = goes_on(bench, preload, since, outcome)
    if bench.stored() != before:
        raise Violation("a start has changed what is stored")
    return outcome


def test_an_allocation_of_a_start_fails(benches, loaded, row):
    for bench in benches:
        bench.bring(OLD)
        bench.stop()
    total = loaded[benches[0]].count(benches[0].must_start)
    each(benches, row, sample(row, total, 100),
         lambda bench, number: at_a_start(loaded[bench], bench, number))
    row.hold(90)


@tells_the_place
def of_a_commit(preload, bench, number):
    bench.bring(bench.settings() or OLD)
    before = bench.settings()
    after = OTHER[before]
    since = bench.daemon.mark()
    preload.fail_allocation(number)
    outcome = bench.commit(after)
    preload.stop_failing()
    stored = bench.settings()
    allowed = {ACKNOWLEDGED: (after,), REFUSED: (before,), NO_ANSWER: (before, after)}[outcome]
    if stored not in allowed:
        raise Violation(f"{outcome}, and stored is {stored}")
    return goes_on(bench, preload, since, outcome)


def test_an_allocation_of_a_commit_fails(benches, loaded, row):
    for bench in benches:
        bench.bring(OLD)
    benches[0].bring(NEW)
    total = loaded[benches[0]].count(lambda: benches[0].commit(OLD))
    each(benches, row, sample(row, total, 120),
         lambda bench, number: of_a_commit(loaded[bench], bench, number))
    row.hold(100)


def text_of(reply):
    return ET.tostring(reply)


@tells_the_place
def of_a_look(preload, bench, number, expected):
    bench.bring(OLD)
    replies = []
    since = bench.daemon.mark()
    preload.fail_allocation(number)
    outcome = bench.ask(lambda client: look(client, replies))
    preload.stop_failing()
    if replies != expected[:len(replies)]:
        raise Violation("another answer")
    return goes_on(bench, preload, since, outcome)


def look(client, replies):
    replies.append(text_of(client.get_config()))
    replies.append(text_of(client.get_config(filters=XPATH)))
    client.state()


def test_an_allocation_of_a_get_fails(benches, loaded, row):
    expected = []
    for bench in benches:
        bench.bring(OLD)
    total = loaded[benches[0]].count(
        lambda: benches[0].ask(lambda client: look(client, expected)))
    each(benches, row, sample(row, total, 80),
         lambda bench, number: of_a_look(loaded[bench], bench, number, expected))
    row.hold(70)
