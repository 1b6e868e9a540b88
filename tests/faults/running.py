"""The daemon as a process on a site of its own, beside things of others."""

import os
import re
import shutil
import time

from lab.daemon import Daemon
from lab.network import Wrapped
from lab.site import Site
from lab.wait import TimedOut, wait_until

from . import kernel
from .table import Violation

# Whatever the daemon is asked for comes within this time, or it hangs.
DEADLINE = 10.0
# Between a change and the moment in which the kernel's listings, or a process's end, are seen.
SETTLE = 0.5
# Records of level `notice` that a daemon writes with which nothing is wrong, and of the stranger.
USUAL = re.compile(r" (Ready\.|Initializing SNMP daemon\.|SNMP daemon has finished!)$|"
                   r"\] (Ignoring tag|Commit by) |udp_l3mdev_accept set to 1\.$|"
                   r"requests? refused(: |, the last: )unknown community$")


class Running:
    """Use it as a context manager."""

    def __init__(self, number, build):
        self.site = Site(f"f{number}-")
        self.daemon = Daemon(self.site.router, build, level="progress")
        self.row = None
        self._begin = 0
        wait_until(lambda: "tentative" not in self.site.router.ip("-6", "address"),
                   "IPv6 addresses that can be used")
        # As the package has it: nobody gets a redirect port by chance.
        self.site.router.run("sysctl", "-qw", "net.ipv4.ip_local_reserved_ports=60600-65535")
        kernel.add_foreign(self.site.router, 100)
        self.foreign = kernel.look(self.site.router).foreign

    def __enter__(self):
        return self

    def __exit__(self, *_):
        with self.site, self.daemon:
            pass

    def begin(self, *words):
        """Starts the daemon, by these words before its own; does not wait for it."""
        self._begin = self.daemon.mark()
        self.daemon.namespace = Wrapped(self.site.router, *words) if words else self.site.router
        self.daemon.start(wait=False)

    def start(self, *words):
        """Starts the daemon; True when it is ready, False when it has ended instead."""
        self.begin(*words)
        return self.comes_up()

    def comes_up(self):
        """Waits until the daemon is ready; False when it has ended instead."""
        ready = self.timed(lambda: self.daemon.is_ready(DEADLINE))
        # Its end is seen when strace has seen it.
        if not ready and not self.ends_soon(waits=True):
            raise Violation(f"neither ready nor ended after {DEADLINE:g} s\n{self.stacks()}")
        if ready:
            self._read_records()
        return ready

    def _read_records(self):
        """Waits until the records of a start are read; one that could not be written is missed."""
        try:
            self.daemon.wait_record(r" Ready\.$", self._begin, seconds=SETTLE)
        except TimedOut:
            pass

    def must_start(self):
        """Starts the daemon where nothing is in its way."""
        if not self.start():
            raise Violation(f"does not start again, status {self.end()}\n{self.last_records()}")

    def is_up(self):
        return self.daemon.process is not None and self.daemon.process.poll() is None

    def end(self):
        """Waits until the daemon has ended of itself; its exit status."""
        try:
            return self.timed(lambda: self.daemon.wait_end(DEADLINE))
        except Exception as error:
            raise Violation(f"has not ended after {DEADLINE:g} s\n{self.stacks()}") from error

    def ends_soon(self, waits):
        """Whether the daemon has ended, or does in a moment where `waits`."""
        deadline = time.monotonic() + SETTLE
        while waits and self.is_up() and time.monotonic() < deadline:
            time.sleep(0.01)
        return not self.is_up()

    def stop(self):
        """Ends the daemon by SIGTERM; its exit status."""
        self.daemon.tell(15)
        return self.end()

    def clear(self):
        """No daemon, and nothing stored."""
        if self.is_up():
            self.daemon.kill()
        for name in os.listdir(self.daemon.state):
            path = os.path.join(self.daemon.state, name)
            shutil.rmtree(path) if os.path.isdir(path) else os.unlink(path)
        self.site.router.ip("rule", "flush", "protocol", kernel.PROTOCOL)
        self.site.router.ip("-6", "rule", "flush", "protocol", kernel.PROTOCOL)

    def told(self, since):
        """The records that tell of something wrong."""
        return [line for line in self.daemon.records(r"^\S+ notice ", since)
                if not USUAL.search(line)]

    def timed(self, call):
        """The result of a call; its time goes to the row."""
        begin = time.monotonic()
        try:
            return call()
        finally:
            if self.row is not None:
                self.row.waited(time.monotonic() - begin)

    def stacks(self):
        """Where each thread of the daemon is, as far as the kernel tells."""
        text = ""
        folder = f"/proc/{self.daemon.process.pid}/task"
        for thread in os.listdir(folder) if os.path.isdir(folder) else []:
            for name in ("comm", "wchan", "syscall"):
                with open(f"{folder}/{thread}/{name}", encoding="ascii") as file:
                    text += f"{thread} {name}: {file.read().strip()}\n"
        return text + self.last_records()

    def last_records(self, count=12):
        """The last records that anybody reads."""
        return "\n".join(self.daemon.records(r" notice |^(?!\d{4}-)")[-count:])
