"""strace as the hand that does faults: an unchanged program of the distribution."""

import collections
import os
import re
import signal
import subprocess
import tempfile
from dataclasses import dataclass, field, replace

LOOP, AGENT = "loop", "agent"
ERRORS = ("EPERM", "ENOMEM", "EINTR", "ENOBUFS", "EIO")
# Those of a disk.
FURTHER_ERRORS = ("ENOSPC", "EROFS", "EDQUOT", "ESTALE")

# The errors that some calls, as strace tells them, can have at all. strace does not make a call
# that is to fail, so a close that fails would keep its file, which Linux never does (close(2)). A
# mutex or a thread's list has no errors that a program could meet, and the C library ends the
# process when it does; of brk it takes no error, but the end of the memory that there is. Pipes and
# events of the process's own have room or wait; flags of a file, and what is in an epoll(7)
# already, are changed without memory. That the loop's own pipes and events are not watched, for
# want of memory in the first moments, nobody is told (docs/limits.md).
POSSIBLE = [(re.compile(pattern), errors) for pattern, errors in (
    (r"(close|execve|exit|exit_group|futex|restart_syscall|sched_yield)\(", ()),
    (r"(gete?[ug]id|get[pt]id)\(", ()),
    (r"(arch_prctl|brk|rseq|rt_sig\w+|set_robust_list|set_tid_address)\(", ()),
    (r"(madvise|mmap|mprotect|mremap|munmap)\(", ("ENOMEM",)),
    (r"(epoll_wait|epoll_pwait|clock_nanosleep)\(", ("EINTR",)),
    (r"epoll_ctl\(.*EPOLL_CTL_(MOD|DEL)", ()),
    (r"epoll_ctl\(.*EPOLL_CTL_ADD, \d+<(pipe:|anon_inode:)", ()),
    (r"timerfd_settime\(", ()),
    (r"fcntl\(.*F_(SETFL|GETFL|SETFD|GETFD)", ()),
    (r"(read|write)\((?!2<)\d+<(pipe:|anon_inode:\[(eventfd|timerfd))", ()),
)]
MEMORY = {"madvise", "mmap", "mprotect", "mremap", "munmap"}


def possible(line):
    """The errors that the call of a line of strace's can have."""
    return next((errors for pattern, errors in POSSIBLE if pattern.match(line)), ERRORS)


class CannotFail(Exception):
    """The call that was made to fail was, this time, one that cannot."""


@dataclass(frozen=True)
class Call:
    """The n-th of a thread's system calls of one name; the error that it is to fail with."""

    thread: str
    name: str
    number: int  # "1+" is each from the first on
    error: str = ""
    errors: tuple = field(default=(), repr=False, compare=False)

    def __str__(self):
        return f"{self.thread}: {self.name} {self.number} {self.error}".rstrip()

    def kill(self):
        """The words that have strace kill the process at it."""
        return [f"--trace={self.name}", f"--inject={self.name}:signal=SIGKILL:when={self.number}"]

    def fail(self):
        """The words that have strace make it fail."""
        return [f"--trace={self.name}",
                f"--inject={self.name}:error={self.error}:when={self.number}"]

    def failing(self):
        """Itself with each error that it may fail with."""
        return [replace(self, error=error) for error in self.errors]


def why_not():
    """Why nothing can be traced here; empty where it can."""
    try:
        done = subprocess.run(["strace", "-o", "/dev/null", "true"], capture_output=True, text=True,
                              check=False)
    except FileNotFoundError:
        return "the program strace is not installed"
    return "" if done.returncode == 0 else f"ptrace is not permitted: {done.stderr.strip()}"


class Trace:
    """What strace has written of one thread."""

    def __init__(self):
        descriptor, self.path = tempfile.mkstemp(prefix="snmp-app-trace-")
        os.close(descriptor)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            self.was_done()
        finally:
            os.unlink(self.path)

    def text(self):
        with open(self.path, encoding="utf-8", errors="replace") as file:
            return file.read()

    def was_done(self):
        """Whether the call that was to fail came. Raises CannotFail where it is none that can."""
        done = re.findall(r"^(.* = -1 (\w+) .*\(INJECTED\))$", self.text(), re.MULTILINE)
        for line, error in done:
            if error not in (*possible(line), *FURTHER_ERRORS):
                raise CannotFail(line)
        return bool(done)

    def calls(self, thread, until=None):
        """Each call that was made, up to the line with this text."""
        counts = collections.Counter()
        for line in self.text().splitlines():
            found = re.match(r"(\w+)\(", line)
            if found:
                counts[found[1]] += 1
                yield Call(thread, found[1], counts[found[1]], errors=possible(line))
            if until is not None and until in line:
                return

    def loaded(self):
        """How many calls the loader makes until it has all libraries."""
        lines = [line for line in self.text().splitlines() if re.match(r"\w+\(", line)]
        return max(number for number, line in enumerate(lines) if "PROT_EXEC" in line)

    def words(self, *options):
        """The words that start a program with its first thread traced; it stays the child."""
        return ["strace", "-D", "-q", "-y", "-s", "64", "-o", self.path, *options]


class Attached(Trace):
    """One thread of a running process, traced until the end of the block."""

    def __init__(self, thread, *options):
        super().__init__()
        self._words = ["strace", "-p", str(thread), "-y", "-s", "64", "-o", self.path, *options]
        self._process = None

    def __enter__(self):
        self._process = subprocess.Popen(self._words, stderr=subprocess.PIPE, text=True)
        line = self._process.stderr.readline()
        if " attached" not in line:
            self.__exit__()
            raise RuntimeError(f"{' '.join(self._words)}: {line}")
        return self

    def __exit__(self, *_):
        self.detach()
        super().__exit__()

    def detach(self):
        """Lets the thread run on alone; all of it is written then."""
        self._process.send_signal(signal.SIGINT)
        self._process.wait()
        self._process.stderr.close()


def thread_of(process, thread):
    """The number of a daemon's thread."""
    if thread == LOOP:
        return process
    for number in os.listdir(f"/proc/{process}/task"):
        with open(f"/proc/{process}/task/{number}/comm", encoding="ascii") as file:
            if file.read().strip() == "snmp-agent":
                return int(number)
    raise RuntimeError("the daemon has no thread snmp-agent")
