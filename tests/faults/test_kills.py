"""The daemon is killed: no commit that was acknowledged is lost, and what is stored is whole."""

import threading


from . import cases
from .bench import ACKNOWLEDGED, NO_ANSWER, each
from .settings import NEW, OLD, OTHER, numbered
from .table import Violation
from .trace import Trace


def goes_on(bench, allowed):
    """Starts the daemon anew; which of these settings it has then, by their names."""
    now = bench.settings()
    if now not in allowed:
        raise Violation(f"stored is {now}\ninstead of {list(allowed)}")
    bench.must_start()
    if bench.settings() != now:
        raise Violation(f"a start makes {bench.settings()}\nof {now}")
    bench.check()
    bench.check_history()
    return allowed[now]


def killed_in_commit(bench, case):
    bench.bring(case.before)
    after = OTHER[case.before]
    with cases.attached(bench, case.call.thread, *case.call.kill()):
        answer = bench.commit(after)
        if not bench.ends_soon(waits=True):
            if answer != ACKNOWLEDGED:
                raise Violation(f"a commit that nothing was done to: {answer}")
            return "(not reached)"
    bench.end()
    allowed = {after: "new"} if answer == ACKNOWLEDGED else {case.before: "old", after: "new"}
    return goes_on(bench, allowed) + (", acknowledged" if answer == ACKNOWLEDGED else "")


def test_kill_at_each_call_of_a_commit(benches, row, strace):
    each(benches, row, row.sample(cases.of_commit(benches[0]), 150), killed_in_commit)
    row.hold(least=75)


def killed_in_start(bench, case):
    cases.prepare_start(bench, case.first)
    before = bench.stored()
    with Trace() as trace:
        if bench.start(*trace.words(*case.call.kill())):
            bench.daemon.kill()
            return "(not reached)"
        bench.end()
    if not case.first and bench.stored() != before:
        raise Violation("the start has changed what is stored")
    if bench.stored() is None:
        bench.must_start()
        if bench.settings() != OLD:
            raise Violation(f"the start-up file is not in force, but {bench.settings()}")
        bench.check()
        return "nothing stored, started anew"
    return goes_on(bench, {OLD if case.first else NEW: "stored"})


def test_kill_at_each_call_of_a_start(benches, row, strace):
    starts = cases.of_starts(benches[0], loader=row.everything)
    each(benches, row, row.sample(starts, 100), killed_in_start)
    row.hold(least=50)


def commit_until_killed(bench, number, seconds):
    """Commits one after another, and a kill after that time; the last that was acknowledged."""
    killer = threading.Timer(seconds, bench.daemon.process.kill)
    killer.start()
    try:
        while True:
            answer = bench.commit(numbered(number + 1))
            if answer == NO_ANSWER:
                return number
            if answer != ACKNOWLEDGED:
                raise Violation(f"commit {number + 1}: {answer}\n{bench.last_records()}")
            number += 1
    finally:
        killer.join()


def killed_in_stream(bench, case):
    kill, first, seconds = case
    bench.bring(numbered(first))
    last = commit_until_killed(bench, first, seconds)
    bench.end()
    bench.row.count("acknowledged commits", last - first)
    name = f"kill {kill}: "
    try:
        return goes_on(bench, {numbered(last): "the last acknowledged",
                               numbered(last + 1): "the one after it"})
    except Violation as error:
        raise Violation(name + str(error)) from error


def test_random_kills_under_a_stream_of_commits(benches, row):
    kills = 1000 if row.everything else 200
    stream = [(kill, 100 * kill, row.chance.uniform(0, 0.4)) for kill in range(kills)]
    each(benches, row, stream, killed_in_stream)
    row.hold(least=kills)


