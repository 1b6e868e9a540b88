"""Redirect ports while interfaces come and go and the daemon is started anew in between: whoever is
listened on is answered, nobody else is, and nothing is left behind."""

import itertools
import json

import pytest

from lab import snmp
from lab.daemon import Daemon, configuration, listening
from lab.site import BLUE, DEFAULT, RED, TABLES

FIRST_PORT = 60600
VRFS = {"eth1": "red", "eth2": "blue"}
ADDRESSES = {"eth1": RED, "eth2": BLUE}


class Router:
    """The daemon, and what should be listened on: the redirect port of each L3 interface."""

    def __init__(self, daemon, site):
        self.daemon, self.site = daemon, site
        self.ports = {}

    def configuration(self):
        return {**configuration(DEFAULT), **listening(dict.fromkeys(self.ports, 161), VRFS, TABLES)}

    def start(self):
        self.daemon.write_startup(self.configuration())
        self.daemon.start()

    def restart(self):
        assert self.daemon.stop() == 0
        self.daemon.start()

    def toggle(self, name):
        """Has an interface listened on, or not any more."""
        if name in self.ports:
            del self.ports[name]
        else:
            self.ports[name] = next(port for port in itertools.count(FIRST_PORT)
                                    if port not in self.ports.values())
        since = self.daemon.reload(self.configuration())
        assert not self.daemon.records(" fault ", since)

    def check(self):
        """Configuration, kernel, and requests in each network."""
        with open(self.daemon.running_file, encoding="utf-8") as file:
            content = json.load(file)
        agent = content["confd_dyncfg:confdConfig"]["snmpAgent"]
        rows = content.get("snmp:snmp", {}).get("agent", {}).get("listen", {}).get("interface", [])
        assert {row["name"]: row["redir-port"] for row in rows} == {
            f"l3-{name}": port for name, port in self.ports.items()}
        assert sorted(agent.get("extraIpPorts", [])) == sorted(
            f"0.0.0.0:{port}" for port in self.ports.values())
        assert self.site.redirects() == sorted(
            f"{name} . 161 : {port}" for name, port in self.ports.items())
        assert snmp.answers(self.site.managers["default"], DEFAULT)
        for name, vrf in VRFS.items():
            assert snmp.answers(self.site.managers[vrf], ADDRESSES[name],
                                timeout=5 if name in self.ports else 0.2) == (name in self.ports)


@pytest.fixture
def router(site, build):
    with Daemon(site.router, build) as daemon:
        instance = Router(daemon, site)
        instance.start()
        yield instance


# Each order is one that two interfaces can come and go in, from none to none.
@pytest.mark.parametrize("order", [
    # come, go in the same order, and come back in between
    ["eth1", "eth2", "eth1", "eth1", "eth2", "eth1"],
    ["eth2", "eth1", "eth2", "eth2", "eth1", "eth2"],
    # the last one goes first
    ["eth1", "eth2", "eth2", "eth2", "eth1", "eth2"],
    ["eth2", "eth1", "eth1", "eth1", "eth2", "eth1"],
], ids=lambda order: "-".join(order))
@pytest.mark.parametrize("when", ["after each step", "before the last three"])
def test_every_network_is_answered(router, order, when):
    for step, name in enumerate(order):
        if when == "after each step" or step == 3:
            router.restart()
        router.toggle(name)
        router.check()
    assert router.ports == {}
    router.restart()
    router.check()


def test_a_port_stays_over_a_kill(router):
    for name in ("eth1", "eth2", "eth1"):
        router.toggle(name)
    router.daemon.kill()
    router.daemon.start()
    router.check()
    router.toggle("eth1")
    router.check()
    assert router.ports == {"eth2": 60601, "eth1": 60600}
