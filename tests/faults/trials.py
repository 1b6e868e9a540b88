"""Many cases on many benches."""

import queue
import threading

from lab.wait import TimedOut

from .table import Stopwatch, Violation
from .trace import CannotFail


def each(benches, row, cases, trial):
    """Does `trial(bench, case)` for each case, on all benches at once; it returns the outcome. What
    it raises is a violation of the row, and the bench begins anew."""
    waiting = queue.SimpleQueue()
    for case in cases:
        waiting.put(case)

    def work(bench):
        bench.row = row
        while True:
            try:
                case = waiting.get_nowait()
            except queue.Empty:
                return
            try:
                row.note(trial(bench, case))
                continue
            except CannotFail:
                row.note("(cannot fail)")
            except Exception as error:  # pylint: disable=broad-except
                told = isinstance(error, (Violation, TimedOut))
                row.violate(case, error if told else repr(error))
            bench.clear()

    with Stopwatch(row):
        threads = [threading.Thread(target=work, args=(bench,)) for bench in benches]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    if not waiting.empty():
        row.violate("all benches", f"are lost, {waiting.qsize()} cases were not tried")
