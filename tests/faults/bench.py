"""A daemon that is brought into a state and asked, and a look whether all is as it has stored."""

import json
import os
import socket
import time

from lab.netconf import Client, Refused
from lab.poller import socket_in
from lab.site import BLUE, DEFAULT, RED

from . import kernel, oracle, settings
from .answers import answered, shortcomings
from .running import DEADLINE, SETTLE, Running
from .table import Violation
from .trials import each

# The first retry comes after five seconds, the second ten later.
HEALS_WITHIN = 17.0
MANAGERS = {"eth1": ("red", RED), "eth2": ("blue", BLUE)}
ACKNOWLEDGED, REFUSED, NO_ANSWER = "acknowledged", "refused", "no answer"
STRANGER = "nobody-has-this-one"


class Bench(Running):
    """Use it as a context manager. One bench is for one thread at a time."""

    def bring(self, wanted):
        """Has the daemon up with these settings in force, whatever was before."""
        if not self.is_up():
            if self.stored() is None:
                self.daemon.write_startup(wanted.startup())
            self.must_start()
        if self.settings() != wanted and self.commit(wanted) != ACKNOWLEDGED:
            raise Violation(f"a plain commit is not acknowledged\n{self.last_records()}")

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
        return self.outcome(lambda: self._ask(question))

    def outcome(self, request):
        """What comes of a request of a session."""
        try:
            self.timed(request)
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

    def check_history(self):
        """Nothing in the history is half of something, and its newest one is what is stored."""
        folder = os.path.join(self.daemon.state, "history")
        names = set(os.listdir(folder))
        numbers = sorted(int(name.split(".")[0]) for name in names if name.endswith(".commit.json"))
        whole = {f"{number}{ending}" for number in numbers for ending in (".json", ".commit.json")}
        if names != whole or not 0 < len(numbers) <= 50:
            raise Violation(f"the history has {len(numbers)} and besides {sorted(names ^ whole)}")
        with open(os.path.join(folder, f"{numbers[-1]}.json"), encoding="utf-8") as file:
            if json.load(file) != self.stored():
                raise Violation(f"number {numbers[-1]} of the history is not what is stored")

    def check_answers(self, network, address, port, communities):
        """The agent answers this manager with each of the communities, and with no other."""
        with socket_in(self.site.managers[network], socket.AF_INET) as manager:
            manager.connect((address, port))
            found = self.timed(lambda: answered(
                manager, [STRANGER, *sorted(communities)], HEALS_WITHIN))
        if found != set(communities):
            raise Violation(f"{network} at {address} port {port}: answers to {sorted(found)} "
                            f"instead of {sorted(communities)}\n{self.last_records()}")


def port_of(bench):
    return oracle.agent_of(bench.stored() or {}).get("port", 161)


__all__ = ["ACKNOWLEDGED", "Bench", "DEADLINE", "HEALS_WITHIN", "NO_ANSWER", "REFUSED", "SETTLE", "each"]
