"""The disk is full, may not be written or fails: what cannot be kept is refused, what cannot be
read stays as it is, and all goes on when the disk does."""

import errno
import os
from dataclasses import replace

from lab.network import run

from . import cases
from .bench import ACKNOWLEDGED, NO_ANSWER, REFUSED, each
from .settings import NEW, OLD
from .table import Violation
from .trace import LOOP, Attached, Trace, thread_of


# Some pages of a file, and more than what the history could give way by.
BIG = replace(NEW, extra=frozenset(range(10000, 10800)))


class SmallDisk:
    """A file system of its own in the state folder. Use it as a context manager."""

    def __init__(self, bench):
        self.folder = bench.daemon.state
        self.filler = os.path.join(self.folder, "filler")

    def __enter__(self):
        run("mount", "-t", "tmpfs", "-o", "size=64k,nr_inodes=16", "tmpfs", self.folder)
        return self

    def __exit__(self, *_):
        run("umount", "-l", self.folder)

    def fill(self):
        """Leaves no room."""
        with open(self.filler, "wb", buffering=0) as file:
            write_all(file, 4096)

    def fill_but_one_page(self):
        """Leaves room for the begin of a file."""
        self.fill()
        os.truncate(self.filler, os.path.getsize(self.filler) - 4096)

    def take_inodes(self):
        """Leaves no room for a further file."""
        os.mkdir(self.filler)
        try:
            for number in range(100):
                os.mknod(os.path.join(self.filler, str(number)))
        except OSError as error:
            if error.errno != errno.ENOSPC:
                raise

    def read_only(self):
        run("mount", "-o", "remount,ro", self.folder)

    def mend(self):
        """Undoes each of these."""
        run("mount", "-o", "remount,rw", self.folder)
        if os.path.isdir(self.filler):
            for name in os.listdir(self.filler):
                os.unlink(os.path.join(self.filler, name))
            os.rmdir(self.filler)
        elif os.path.exists(self.filler):
            os.unlink(self.filler)


def write_all(file, size):
    try:
        while True:
            file.write(b"x" * size)
    except OSError as error:
        if error.errno != errno.ENOSPC:
            raise


DAMAGES = ("fill", "fill_but_one_page", "take_inodes", "read_only")


def must_be(bench, wanted):
    if bench.settings() != wanted:
        raise Violation(f"stored is {bench.settings()}\ninstead of {wanted}")
    bench.check()


def refused_at_save(bench, damage):
    with SmallDisk(bench) as disk:
        bench.bring(OLD)
        getattr(disk, damage)()
        answer = bench.commit(BIG)
        if answer != REFUSED:
            raise Violation(f"{answer}\n{bench.last_records()}")
        must_be(bench, OLD)
        disk.mend()
        bench.bring(BIG)
        bench.check()
        bench.clear()
    return "refused, and done later"


def at_start(bench, damage):
    with SmallDisk(bench) as disk:
        bench.bring(OLD)
        bench.daemon.kill()
        bench.daemon.write_startup(NEW.startup())
        getattr(disk, damage)()
        bench.must_start()
        must_be(bench, OLD)
        bench.stop()
        disk.mend()
        bench.clear()
    return "as stored"


def at_first_start(bench, damage):
    with SmallDisk(bench) as disk:
        bench.daemon.write_startup(BIG.startup())
        getattr(disk, damage)()
        since = bench.daemon.mark()
        bench.must_start()
        told = bench.told(since)
        if bench.settings() is not None or not told:
            raise Violation(f"stored {bench.settings()}, told {told}")
        bench.check()
        disk.mend()
        bench.stop()
        bench.must_start()
        must_be(bench, BIG)
        bench.clear()
    return "told, and done later"


def test_no_room_or_read_only_at_save(benches, row):
    each(benches, row, DAMAGES, refused_at_save)
    row.hold(least=len(DAMAGES))


def test_no_room_or_read_only_at_start(benches, row):
    each(benches, row, DAMAGES, at_start)
    row.hold(least=len(DAMAGES))


def test_no_room_or_read_only_at_first_start(benches, row):
    each(benches, row, DAMAGES, at_first_start)
    row.hold(least=len(DAMAGES))


SAVING = ("openat", "write", "fsync", "rename")
LOADING = ("openat", "read", "fstat,newfstatat")
DISK_ERRORS = ("EIO", "ENOSPC", "EROFS", "EDQUOT", "ESTALE")


def failing(bench, calls, error):
    """The words that have strace make all of these calls on the stored file fail."""
    paths = [bench.daemon.running_file, bench.daemon.running_file + ".tmp", bench.daemon.state]
    return [word for path in paths for word in ("-P", path)] + [f"--trace={calls}",
                                                                f"--inject={calls}:error={error}"]


def fails_at_save(bench, case):
    calls, error = case
    bench.bring(OLD)
    process = bench.daemon.process.pid
    with Attached(thread_of(process, LOOP), *failing(bench, calls, error)) as trace:
        answer = bench.commit(NEW)
        ended = bench.ends_soon(answer == NO_ANSWER)
        trace.detach()
        if not trace.was_done():
            raise Violation(f"the fault was not done\n{trace.text()}")
    if answer == ACKNOWLEDGED:
        raise Violation(f"acknowledged\n{bench.last_records()}")
    if not ended:
        must_be(bench, OLD)
        bench.bring(NEW)
        bench.check()
        return "refused, and done later"
    status = bench.end()
    if status != 1 or bench.settings() not in (OLD, NEW):
        raise Violation(f"status {status}, stored is {bench.settings()}")
    bench.must_start()
    bench.check()
    return "ended, and started"


def fails_at_start(bench, case):
    calls, error = case
    cases.prepare_start(bench, first=False)
    with Trace() as trace:
        if bench.start(*trace.words(*failing(bench, calls, error))):
            raise Violation(f"ready\n{trace.text()}\n{bench.last_records()}")
        status = bench.end()
        if status != 1 or not trace.was_done():
            raise Violation(f"status {status}\n{trace.text()}")
    left = set(os.listdir(bench.daemon.state)) - {"history"}
    if left != {os.path.basename(bench.daemon.running_file)}:
        raise Violation(f"left are {left}")
    bench.must_start()
    must_be(bench, NEW)
    return "ended, and started"


def each_error(calls):
    return [(call, error) for call in calls for error in DISK_ERRORS]


def test_a_disk_that_fails_at_save(benches, row, strace):
    each(benches, row, row.sample(each_error(SAVING), 12), fails_at_save)
    row.hold(least=12)


def test_a_disk_that_fails_at_start(benches, row, strace):
    each(benches, row, row.sample(each_error(LOADING), 9), fails_at_start)
    row.hold(least=9)
