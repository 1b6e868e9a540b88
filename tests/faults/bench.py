"""The daemon on a site of its own, and a look at whether all is as its stored configuration says."""

import json
import os
import queue
import re
import shutil
import socket
import threading
import time

from lab.daemon import Daemon
from lab.load import get_request, request_id_of
from lab.netconf import NS, Client, Refused
from lab.network import Wrapped
from lab.poller import socket_in
from lab.site import BLUE, DEFAULT, RED, Site
from lab.wait import TimedOut, wait_until

from . import kernel, oracle, settings
from .table import Stopwatch, Violation
from .trace import CannotFail

# Whatever the daemon is asked for comes within this time, or it hangs.
DEADLINE = 10.0
# Between a change and the moment in which the kernel's listings have it.
SETTLE = 0.5
MANAGERS = {"eth1": ("red", RED), "eth2": ("blue", BLUE)}
ACKNOWLEDGED, REFUSED, NO_ANSWER = "acknowledged", "refused", "no answer"
# Records of level `notice` that a daemon writes with which nothing is wrong, and of the stranger.
USUAL = re.compile(r" (Ready\.|Initializing SNMP daemon\.|SNMP daemon has finished!)$|"
                   r"\] Ignoring tag |udp_l3mdev_accept set to 1\.$|request refused: unknown community$")
STRANGER = "nobody-has-this-one"


class Bench:
    """Use it as a context manager. One bench is for one thread at a time."""

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

    # The process.

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

    def bring(self, wanted):
        """Has the daemon up with these settings in force, whatever was before."""
        if not self.is_up():
            if self.stored() is None:
                self.daemon.write_startup(wanted.startup())
            self.must_start()
        if self.settings() != wanted and self.commit(wanted) != ACKNOWLEDGED:
            raise Violation(f"a plain commit is not acknowledged\n{self.last_records()}")

    # What it has stored.

    def stored(self):
        """What `running.json` says; None without one."""
        try:
            with open(self.daemon.running_file, encoding="utf-8") as file:
                return json.load(file)
        except FileNotFoundError:
            return None
        except ValueError as error:
            raise Violation(f"the stored file is not whole: {error}") from error

    def settings(self):
        """The settings that are stored; None where none are."""
        content = self.stored()
        try:
            return None if content is None else settings.settings_of(content)
        except (KeyError, ValueError) as error:
            raise Violation(f"the stored configuration is not whole: {error!r}") from error

    def commit(self, wanted):
        """One edit that leads from what is stored to these settings; what came of it."""
        return self.ask(lambda client: client.edit(settings.edit(self.settings(), wanted)))

    def ask(self, question):
        """What comes of a question to the daemon by NETCONF."""
        try:
            self.timed(lambda: self._ask(question))
            return ACKNOWLEDGED
        except Refused:
            return REFUSED
        except TimeoutError as error:
            raise Violation(f"no answer after {DEADLINE:g} s\n{self.stacks()}") from error
        except OSError:
            return NO_ANSWER

    def _ask(self, question):
        with Client(self.daemon.netconf_socket, seconds=DEADLINE) as client:
            question(client)

    # Whether all is as it should be.

    def things(self):
        """What the kernel has of the daemon."""
        return kernel.look(self.site.router).things

    def differences(self):
        """Where the kernel is not as the stored configuration says; and where others' things are
        not as they were, which is no difference but the end of the case."""
        seen = kernel.look(self.site.router)
        if seen.foreign != self.foreign:
            raise Violation(f"things of others are not as they were:\n{seen.foreign}\nbut were\n"
                            f"{self.foreign}")
        return oracle.differences(oracle.wanted(self.stored()).things(), seen.things)

    def lasting_differences(self, seconds=SETTLE):
        """Those that are still there after a while."""
        deadline = time.monotonic() + seconds
        while True:
            found = self.differences()
            if not found or time.monotonic() > deadline:
                return found

    def is_told(self, since):
        """Whether a record of those that anybody reads, or the state, says that something is not
        as it should be."""
        if self.told(since):
            return True
        faults = []
        self._ask(lambda client: faults.extend(shortcomings(client.state())))
        return bool(faults)

    def told(self, since):
        """The records that tell of something wrong."""
        return [line for line in self.daemon.records(r"^\S+ notice ", since)
                if not USUAL.search(line)]

    def check(self):
        """All is as the stored configuration says; raises Violation where it is not."""
        found = self.timed(lambda: self.lasting_differences(DEADLINE))
        if found:
            raise Violation(f"other than stored: {found}\n{self.last_records()}")
        refused = [name for name in os.listdir(self.daemon.state) if "refused" in name]
        if refused:
            raise Violation(f"moved aside: {refused}")
        wanted = oracle.wanted(self.stored())
        if (DEFAULT, port_of(self)) in wanted.listeners:
            self.check_answers("default", DEFAULT, port_of(self), wanted.communities)
        for name, port, _ in wanted.redirects:
            self.check_answers(*MANAGERS[name], port, wanted.communities)

    def check_answers(self, network, address, port, communities):
        """The agent answers this manager with each of the communities, and with no other."""
        with socket_in(self.site.managers[network], socket.AF_INET) as manager:
            manager.connect((address, port))
            answered = self.timed(lambda: answers(manager, [STRANGER, *sorted(communities)]))
        if answered != set(communities):
            raise Violation(f"{network} at {address} port {port}: answers to {sorted(answered)} "
                            f"instead of {sorted(communities)}\n{self.last_records()}")

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


def port_of(bench):
    return oracle.agent_of(bench.stored() or {}).get("port", 161)


def answers(manager, communities):
    """Which of these communities are answered, the last of them with some patience. Datagrams are
    answered in their order, so what is before it is answered until then or not at all."""
    answered = set()
    deadline = time.monotonic() + DEADLINE
    while communities[-1] not in answered and time.monotonic() < deadline:
        for number, community in enumerate(communities):
            try:
                manager.send(get_request(0x01000000 + number, community.encode()))
            except ConnectionRefusedError:
                pass  # what came back for the one before
        manager.settimeout(1)
        try:
            while communities[-1] not in answered:
                answered.add(communities[request_id_of(manager.recv(2048)) - 0x01000000])
        except (TimeoutError, ConnectionRefusedError):
            pass
    return answered


def shortcomings(state):
    """What the daemon's state says is not as it should be."""
    for kind, leaf in (("listener", "bound"), ("listening-interface", "redirect"),
                       ("target", "rule")):
        for entry in state.iterfind(f".//state:{kind}", NS):
            if entry.findtext(f"state:{leaf}", namespaces=NS) != "true":
                yield f"{kind}: {entry.findtext('state:reason', namespaces=NS)}"
    if state.findtext(".//state:retry-pending", namespaces=NS) == "true":
        yield "retry pending"


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
                row.violate(case, error if isinstance(error, (Violation, TimedOut)) else repr(error))
            bench.clear()

    with Stopwatch(row):
        threads = [threading.Thread(target=work, args=(bench,)) for bench in benches]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
    if not waiting.empty():
        row.violate("all benches", f"are lost, {waiting.qsize()} cases were not tried")
