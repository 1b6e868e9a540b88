"""Each system call fails once: what was asked for is refused, or done, or the daemon ends and the
next start does it; and what is not done is told."""

from dataclasses import dataclass, replace
from typing import Callable

from . import cases
from .bench import ACKNOWLEDGED, HEALS_WITHIN, NO_ANSWER, REFUSED, each
from .settings import NEW, OLD, OTHER
from .table import Violation
from .trace import AGENT, MEMORY, Call, Trace


def ended_and_started(bench, case, since, allowed):
    """What follows a daemon that has ended by itself."""
    status = bench.end()
    if status < 0 and case.call.name not in MEMORY:
        raise Violation(f"ended by signal {-status}\n{bench.last_records()}")
    # What the program catches at its end is a fault, and status 0. Where the loader gets no memory,
    # there is no program yet that could tell.
    if status >= 0 and not bench.daemon.records(" fault " if status == 0 else "", since):
        raise Violation(f"ended with status {status}\n{bench.last_records()}")
    now = bench.settings()
    if now not in allowed:
        raise Violation(f"stored is {now}\ninstead of one of {allowed}")
    bench.must_start()
    if now is not None and bench.settings() != now:
        raise Violation(f"a start makes {bench.settings()}\nof {now}")
    bench.check()
    return "crashed for want of memory, and started" if status < 0 else "ended, and started"


def as_stored_or_told(bench, since, outcome):
    """The kernel is as the stored configuration says; or it is told that it is not, and heals."""
    found = bench.lasting_differences()
    if not found:
        bench.check()
        return outcome
    if not bench.is_told(since):
        raise Violation(f"{outcome}, and other than stored in silence: {found}\n"
                        f"{bench.last_records()}")
    found = bench.lasting_differences(HEALS_WITHIN)
    if found:
        raise Violation(f"{outcome} and told, but not healed after {HEALS_WITHIN:g} s: {found}\n"
                        f"{bench.last_records(30)}")
    bench.check()
    return f"{outcome}, rest told and healed"


def failed_in_commit(bench, case):
    bench.bring(case.before)
    after = OTHER[case.before]
    since = bench.daemon.mark()
    with cases.attached(bench, case.call.thread, *case.call.fail()) as trace:
        answer = bench.commit(after)
        trace.detach()
        if not trace.was_done():
            if answer != ACKNOWLEDGED:
                raise Violation(f"a commit that nothing was done to: {answer}")
            return "(not reached)"
    allowed = {ACKNOWLEDGED: [after], REFUSED: [case.before], NO_ANSWER: [case.before, after]}
    if bench.ends_soon(answer == NO_ANSWER):
        return ended_and_started(bench, case, since, allowed[answer])
    if bench.settings() not in allowed[answer]:
        raise Violation(f"{answer}, but stored is {bench.settings()}")
    return as_stored_or_told(bench, since, answer)


def test_each_call_of_a_commit_fails_once(benches, row, strace):
    each(benches, row, row.sample(cases.failing(cases.of_commit(benches[0])), 200),
         failed_in_commit)
    row.hold(least=100)


def failed_in_start(bench, case):
    cases.prepare_start(bench, case.first)
    since = bench.daemon.mark()
    with Trace() as trace:
        if not bench.start(*trace.words(*case.call.fail())):
            return ended_and_started(bench, case, since, [None, OLD] if case.first else [NEW])
        now = bench.settings()
        if case.first and now is None and bench.is_told(since):
            outcome = "ready without the start-up file, told"
        elif now != (OLD if case.first else NEW):
            raise Violation(f"ready with {now}\n{bench.last_records()}")
        else:
            outcome = as_stored_or_told(bench, since, "ready")
        bench.stop()
        return outcome if trace.was_done() else "(not reached)"


def test_each_call_of_a_start_fails_once(benches, row, strace):
    starts = cases.failing(cases.of_starts(benches[0], loader=row.everything))
    each(benches, row, row.sample(starts, 150), failed_in_start)
    row.hold(least=75)


def failed_in_stop(bench, case):
    bench.bring(OLD)
    since = bench.daemon.mark()
    with cases.attached(bench, case.call.thread, *case.call.fail()) as trace:
        status = bench.stop()
        trace.detach()
        if not trace.was_done():
            return "(not reached)"
    if status < 0 and case.call.name not in MEMORY:
        raise Violation(f"ended by signal {-status}\n{bench.last_records()}")
    left = bench.things()
    if left and status == 0 and not bench.told(since):
        raise Violation(f"ended with status 0, and has left in silence {left}")
    if bench.settings() != OLD:
        raise Violation(f"stored is {bench.settings()}")
    bench.must_start()
    bench.check()
    return f"ended with status {status}" + (", rules left" if left else "")


def test_each_call_of_a_stop_fails_once(benches, row, strace):
    each(benches, row, row.sample(cases.failing(cases.of_stop(benches[0])), 40), failed_in_stop)
    row.hold(least=20)


@dataclass(frozen=True)
class Found:
    """What once went wrong."""

    trial: Callable
    case: object

    def __str__(self):
        return str(self.case)


def found(bench):
    ready = cases.of_start(bench, first=False)[-1]
    unheard = replace(ready, call=replace(ready.call, error="ENOMEM"))
    kept = cases.in_commit(OLD, Call(AGENT, "getsockname", "1+", "ENOBUFS"))
    return [Found(failed_in_start, unheard), Found(failed_in_commit, kept)]


def test_calls_that_once_went_wrong(benches, row, strace):
    each(benches, row, found(benches[0]), lambda bench, one: one.trial(bench, one.case))
    row.hold(least=2)
