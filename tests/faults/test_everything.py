"""Everything at once: commits, readers, others who change the kernel's network configuration,
interfaces that come and go, managers with a wrong community."""

import contextlib
import socket
import statistics
import time

from lab.load import get_request
from lab.netconf import Client
from lab.poller import socket_in
from lab.wait import wait_until

from . import settings
from .kernel import PROTOCOL
from .process import children, descriptors, status
from .table import Stopwatch
from .together import Together

GUEST = "198.51.100.50"
GUEST_PORT = 5000
# More is a leak: a commit needs a few hundred KiB, and gives them back.
GROWTH = 16 * 1024  # KiB


class Crowd:
    """All that happens around the commits."""

    def __init__(self, bench):
        self._bench, self._router = bench, bench.site.router
        self._stranger = socket_in(bench.site.managers["red"], socket.AF_INET)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._stranger.close()
        with contextlib.suppress(RuntimeError):
            self._router.ip("link", "del", "guest")

    def reads(self):
        with Client(self._bench.daemon.netconf_socket) as client:
            for _ in range(20):
                client.get_config()
                client.get_config(filters=settings.XPATH)
                client.get()

    def asks_state(self):
        with Client(self._bench.daemon.netconf_socket) as client:
            client.state()

    def changes_filters(self):
        for line in ("add table inet noise", "add chain inet noise in",
                     "add rule inet noise in udp dport 161 accept", "delete table inet noise"):
            self._router.run("nft", line)

    def changes_rules(self):
        rule = ("to", "203.0.113.200", "lookup", "main", "priority", "1400")
        self._router.ip("rule", "add", *rule)
        self._router.ip("rule", "del", *rule)
        with contextlib.suppress(RuntimeError):  # the daemon may have removed one meanwhile
            self._router.ip("rule", "flush", "protocol", PROTOCOL)

    def comes_and_goes(self):
        """An interface, with an address that the agent is to listen at."""
        self._router.ip("link", "add", "guest", "type", "veth", "peer", "name", "home")
        self._router.ip("addr", "add", f"{GUEST}/32", "dev", "guest")
        self._router.ip("link", "set", "guest", "up")
        self._router.ip("link", "del", "guest")

    def guesses(self):
        """A manager with a wrong community."""
        for number in range(100):
            with contextlib.suppress(OSError):
                self._stranger.sendto(get_request(0x01000000 + number, b"guess"),
                                      ("203.0.113.1", 2000 + number))


class Operator:
    """One session that makes one commit after another."""

    def __init__(self, bench):
        self._client = Client(bench.daemon.netconf_socket)
        self._before, self.times = bench.settings(), []

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._client.socket.close()

    def commits(self):
        after = settings.numbered(len(self.times))
        begin = time.monotonic()
        self._client.edit(settings.edit(self._before, after))
        self.times.append(time.monotonic() - begin)
        self._before = after

    def listens_to_the_guest(self, operation):
        self._client.edit('<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent>'
                          f'<extraIpPorts nc:operation="{operation}">{GUEST}:{GUEST_PORT}'
                          "</extraIpPorts></snmpAgent></confdConfig>")


def figures(process):
    return status(process, "VmRSS"), descriptors(process)


def test_everything_at_once(benches, row):
    bench = benches[0]
    bench.row = row
    bench.daemon.level = "notice"
    bench.bring(settings.OLD)
    process = bench.daemon.process.pid
    seconds = 600 if row.everything else 18
    with Stopwatch(row), Crowd(bench) as crowd, Operator(bench) as operator:
        for _ in range(50):
            operator.commits()
        memory, files = figures(process)
        operator.times.clear()
        operator.listens_to_the_guest("create")
        begin = time.monotonic()
        with Together(crowd.reads, crowd.reads, crowd.asks_state, crowd.changes_filters,
                      crowd.changes_rules, crowd.comes_and_goes, crowd.guesses) as others:
            while time.monotonic() - begin < seconds and not others.errors:
                operator.commits()
        operator.listens_to_the_guest("delete")
    wait_until(lambda: figures(process)[1] <= files, "descriptors as before")
    memory_after, files_after = figures(process)
    worst = statistics.quantiles(operator.times, n=100)[98]
    row.waited(max(operator.times))
    bench.check()
    assert children(process) == {}
    row.note(f"{len(operator.times)} commits, p99 {worst * 1000:.0f} ms; resident {memory} KiB "
             f"before and {memory_after} behind; descriptors {files} and {files_after}")
    assert memory_after < memory + GROWTH
    bench.daemon.level = "progress"
    row.hold()
