"""The system calls of a commit, a start and a stop, as they are when nothing goes wrong."""

from dataclasses import dataclass, replace

from .bench import ACKNOWLEDGED
from .settings import NEW, OLD, OTHER, Settings
from .table import Violation
from .trace import AGENT, LOOP, Attached, Call, Trace, thread_of

THREADS = (LOOP, AGENT)


@dataclass(frozen=True)
class Case:
    """A call of a commit that leads from the settings `before` to the other ones, of a start that
    is the `first` one or has a stored configuration, or of the end by SIGTERM."""

    when: str
    call: Call
    before: Settings = None
    first: bool = False

    def __str__(self):
        return f"{self.when}, {self.call}"


def in_commit(before, call):
    return Case(f"commit from {'OLD' if before == OLD else 'NEW'}", call, before=before)


def attached(bench, thread, *options):
    """strace on a thread of a bench's daemon."""
    return Attached(thread_of(bench.daemon.process.pid, thread), *options)


def of_commit(bench):
    """Each call of each thread, there and back."""
    cases = []
    for before in (OLD, NEW):
        for thread in THREADS:
            bench.bring(before)
            with attached(bench, thread) as trace:
                if bench.commit(OTHER[before]) != ACKNOWLEDGED:
                    raise Violation(f"a traced commit is not acknowledged\n{bench.last_records()}")
                trace.detach()
                cases += [in_commit(before, call) for call in trace.calls(thread)]
    return cases


def prepare_start(bench, first):
    """No daemon; OLD in the start-up file, and NEW stored or nothing."""
    if first or bench.settings() != NEW:
        bench.clear()
    if not first and bench.stored() is None:
        bench.bring(NEW)
    if bench.is_up():
        bench.daemon.kill()
    bench.daemon.write_startup(OLD.startup())


def of_start(bench, first, loader=False):
    """Each call of the first thread until it tells that it is ready; those of the loader, which are
    some hundreds, when asked for."""
    prepare_start(bench, first)
    with Trace() as trace:
        if not bench.start(*trace.words()):
            raise Violation(f"a traced start fails\n{bench.last_records()}")
        bench.daemon.kill()
        calls = list(trace.calls(LOOP, until="READY=1"))
        return [Case("first start" if first else "start", call, first=first)
                for call in calls[0 if loader else trace.loaded():]]


def of_starts(bench, loader):
    return of_start(bench, False, loader) + of_start(bench, True, loader)


def of_stop(bench):
    """Each call of each thread from the signal on."""
    cases = []
    for thread in THREADS:
        bench.bring(OLD)
        with attached(bench, thread) as trace:
            bench.stop()
            trace.detach()
            cases += [Case("stop", call) for call in trace.calls(thread)]
    return cases


def failing(cases):
    """Each of them with each error that its call may fail with."""
    return [replace(case, call=call) for case in cases for call in case.call.failing()]
