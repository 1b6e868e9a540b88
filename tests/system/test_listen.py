"""Listening interfaces in VRFs, seen by managers in each network and in the kernel's listings."""

import contextlib
import json
import signal
import subprocess

import pytest

from lab import snmp
from lab.daemon import Daemon, configuration, listening
from lab.site import BLUE, BLUE_V6, DEFAULT, RED, RED_V6
from lab.wait import wait_until

DEFAULT_V6 = "2001:db8::1"
REBOUND = "Forced ConfD's bind of SNMP, returned 0: $"


@pytest.fixture
def daemon(site, build):
    with Daemon(site.router, build) as instance:
        yield instance


def router_configuration(ports, vrfs=None, **options):
    """The site's configuration: what listens, by L3 interface and port; where the L3 interfaces
    live; the rest is the agent's."""
    return {**configuration(DEFAULT, **options),
            **listening(ports, vrfs or {"eth1": "red", "eth2": "blue"},
                        {"red": 100, "blue": 200})}


def running(daemon):
    with open(daemon.running_file, encoding="utf-8") as file:
        return json.load(file)


def redirect_port(daemon, name):
    rows = running(daemon)["snmp:snmp"]["agent"]["listen"]["interface"]
    return next(row["redir-port"] for row in rows if row["name"] == name)


def start(daemon, *arguments, **options):
    daemon.write_startup(router_configuration(*arguments, **options))
    daemon.start()
    daemon.wait_record(REBOUND)


def reload(daemon, *arguments, **options):
    since = daemon.reload(router_configuration(*arguments, **options))
    assert not daemon.records(" fault ", since)
    return since


def silent(manager, address, **options):
    return not snmp.answers(manager, address, timeout=0.3, **options)


def test_typical_change(daemon, site):
    start(daemon, {})
    assert silent(site.managers["red"], RED)
    since = reload(daemon, {"eth1": 161})
    agent = running(daemon)["confd_dyncfg:confdConfig"]["snmpAgent"]
    assert agent["extraIpPorts"] == ["0.0.0.0:60600"]
    assert redirect_port(daemon, "l3-eth1") == 60600
    daemon.wait_record(r"New extraIpPorts entry: 0\.0\.0\.0:60600", since)
    daemon.wait_record(REBOUND, since)
    assert site.redirects() == ["eth1 . 161 : 60600"]
    assert snmp.answers(site.managers["red"], RED)
    assert snmp.answers(site.managers["red"], RED_V6)


def test_three_networks_at_once(daemon, site):
    start(daemon, {"eth1": 161, "eth2": 1161})
    assert site.redirects() == ["eth1 . 161 : 60600", "eth2 . 1161 : 60601"]
    for _ in range(3):
        assert snmp.answers(site.managers["default"], DEFAULT)
        assert snmp.answers(site.managers["red"], RED)
        assert snmp.answers(site.managers["red"], RED_V6)
        assert snmp.answers(site.managers["blue"], BLUE, port=1161)
        assert snmp.answers(site.managers["blue"], BLUE_V6, port=1161)
    assert silent(site.managers["blue"], BLUE)
    assert len(site.mark_rules()) == 2, "one rule for each VRF"


def test_port_change(daemon, site):
    start(daemon, {"eth1": 161})
    reload(daemon, {"eth1": 1161})
    assert site.redirects() == ["eth1 . 1161 : 60600"]
    assert snmp.answers(site.managers["red"], RED, port=1161)
    assert silent(site.managers["red"], RED)


def test_vrf_change_of_the_l3_interface(daemon, site):
    start(daemon, {"eth1": 161})
    reload(daemon, {"eth1": 161}, {"eth1": "blue", "eth2": "blue"})
    site.vrfs["red"].detach("eth1")
    site.vrfs["blue"].attach("eth1", f"{RED}/24")
    assert site.redirects() == ["eth1 . 161 : 60600"]
    assert snmp.answers(site.managers["red"], RED)
    assert len(site.mark_rules()) == 1


def test_interface_deleted(daemon, site):
    start(daemon, {"eth1": 161, "eth2": 161})
    reload(daemon, {"eth2": 161})
    assert site.redirects() == ["eth2 . 161 : 60601"]
    assert silent(site.managers["red"], RED)
    assert snmp.answers(site.managers["blue"], BLUE)
    assert running(daemon)["confd_dyncfg:confdConfig"]["snmpAgent"]["extraIpPorts"] == [
        "0.0.0.0:60601"]
    assert len(site.mark_rules()) == 1
    reload(daemon, {"eth1": 161, "eth2": 161})
    assert redirect_port(daemon, "l3-eth1") == 60600, "the freed port is handed out again"
    assert snmp.answers(site.managers["red"], RED)


def test_agent_disabled_and_enabled(daemon, site):
    start(daemon, {"eth1": 161})
    reload(daemon, {"eth1": 161}, enabled=False)
    assert site.redirects() == []
    assert silent(site.managers["red"], RED)
    since = reload(daemon, {"eth1": 161})
    daemon.wait_record(REBOUND, since)
    assert site.redirects() == ["eth1 . 161 : 60600"]
    assert snmp.answers(site.managers["red"], RED)


def test_interface_in_no_vrf_has_an_entry_per_address(daemon, site):
    content = router_configuration({"eth0": 1161}, {})
    content["config:config"]["interface"]["l3"][0]["ipv4"] = {"address": {"ip": f"{DEFAULT}/24"}}
    daemon.write_startup(content)
    daemon.start()
    daemon.wait_record(REBOUND)
    agent = running(daemon)["confd_dyncfg:confdConfig"]["snmpAgent"]
    assert agent["extraIpPorts"] == [f"{DEFAULT}:1161"]
    assert snmp.answers(site.managers["default"], DEFAULT, port=1161)
    assert site.redirects() == []


def test_interface_in_no_vrf_with_ipv6_only(daemon, site):
    """The entry of the first address is added in the transaction, moved with the port, removed."""
    def content(*ports):
        parts = router_configuration({"eth0": port for port in ports}, {"eth0": None})
        parts["config:config"]["interface"]["l3"] = [
            {"name": "eth0", "ipv6": {"enable": True, "address": [
                {"index": 1, "ip": f"{DEFAULT_V6}/64"}, {"index": 2, "ip": "2001:db8:9::1/64"}]}}]
        return parts

    site.router.add_address("eth0", f"{DEFAULT_V6}/64")
    site.managers["default"].add_address("eth0", "2001:db8::100/64")
    daemon.write_startup(content())
    daemon.start()
    for port in (1161, 2161):
        daemon.reload(content(port))
        agent = running(daemon)["confd_dyncfg:confdConfig"]["snmpAgent"]
        assert agent["extraIpPorts"] == [f"{DEFAULT_V6}:{port}"]
        assert snmp.answers(site.managers["default"], DEFAULT_V6, port=port)
    daemon.reload(content())
    assert "extraIpPorts" not in running(daemon)["confd_dyncfg:confdConfig"]["snmpAgent"]
    assert silent(site.managers["default"], DEFAULT_V6, port=2161)


@pytest.mark.parametrize("had_vrf, has_vrf, entries", [
    (False, False, [f"{DEFAULT}:1161"]),
    (False, True, []),
    (True, False, ["0.0.0.0:60600", f"{DEFAULT}:1161"]),
    (True, True, ["0.0.0.0:60600"]),
])
def test_port_change_together_with_the_vrf(daemon, had_vrf, has_vrf, entries):
    """The entries after a change of the port from 161 to 1161 in one transaction with the VRF."""
    def content(port, in_vrf):
        parts = router_configuration({"eth0": port}, {"eth0": "red"} if in_vrf else {"eth1": "red"})
        interfaces = parts["config:config"]["interface"]["l3"]
        interfaces[0]["ipv4"] = {"address": {"ip": f"{DEFAULT}/24"}}
        return parts

    daemon.write_startup(content(161, had_vrf))
    daemon.start()
    before = ["0.0.0.0:60600"] if had_vrf else [f"{DEFAULT}:161"]
    agent = running(daemon)["confd_dyncfg:confdConfig"]["snmpAgent"]
    assert agent["extraIpPorts"] == before
    since = daemon.reload(content(1161, has_vrf))
    assert not daemon.records(" fault ", since)
    agent = running(daemon)["confd_dyncfg:confdConfig"]["snmpAgent"]
    assert sorted(agent.get("extraIpPorts", [])) == entries


def test_rules_are_gone_after_a_kill_and_back_after_a_start(daemon, site):
    start(daemon, {"eth1": 161})
    daemon.kill()
    wait_until(lambda: site.redirects() == [], "the redirects gone with the process")
    daemon.start()
    daemon.wait_record(REBOUND)
    assert site.redirects() == ["eth1 . 161 : 60600"]
    assert len(site.mark_rules()) == 1, "what the killed one left is not doubled"
    assert snmp.answers(site.managers["red"], RED)


def test_orderly_end_leaves_no_rule(daemon, site):
    start(daemon, {"eth1": 161})
    assert daemon.stop() == 0
    assert site.redirects() == []
    assert site.mark_rules() == []
    assert site.mark_rules("-6") == []


def test_no_redirect_port_left_ends_the_process_inside_the_transaction(daemon):
    """All ports from 60600 to 65535 are taken; the next interface is a fatal fault of the hook."""
    names = [f"eth{number}" for number in range(4937)]

    def content(count):
        return {**configuration(DEFAULT, enabled=False),
                **listening({name: 161 for name in names[:count]},
                            {name: "red" for name in names[:count]}, {"red": 100})}

    daemon.level = "notice"
    daemon.write_startup(content(4936))
    daemon.start(wait=False)
    daemon.wait_ready(60)
    before = running(daemon)
    daemon.write_startup(content(4937))
    daemon.tell(signal.SIGHUP)
    assert daemon.process.wait(timeout=60) == 1
    daemon.wait_record(r"vkmw_print_backtrace\] #\d+ SnmpListenDataHandler::SnmpListenCallpoint::")
    daemon.wait_record(r" fault \[src/app/snmp_data_listen:\d+ CreateCallback\] code 1: Failed to "
                       r"create extraIpPorts entry \(0\.0\.0\.0:0\) for interface \(l3-eth4936\)")
    assert running(daemon) == before
    daemon.start(wait=False)
    daemon.wait_ready(60)
    assert running(daemon) == before


def without(content, *path):
    """A copy of `content` that lacks the leaf at `path`."""
    copy = json.loads(json.dumps(content))
    place = copy
    for step in path[:-1]:
        place = place[step]
    del place[path[-1]]
    return copy


def changed(content, value, *path):
    copy = without(content, *path) if path[-1] in content else json.loads(json.dumps(content))
    place = copy
    for step in path[:-1]:
        place = place[step]
    place[path[-1]] = value
    return copy


GOOD = router_configuration({"eth1": 161})
ROW = ("snmp:snmp", "agent", "listen", "interface", 0)
L3 = ("config:config", "interface", "l3", 0)
BAD = {
    "row without udp-port": (without(GOOD, *ROW, "udp-port"), "udp-port"),
    "name that cannot stand in a key path": (changed(GOOD, "l3-{x}", *ROW, "name"), "name"),
    "VRF that is not in the table": (changed(GOOD, "green", *L3, "vrf"), "vrf"),
    "no such L3 interface": (changed(GOOD, "l3-eth9", *ROW, "name"), "interface"),
    "IPv6 entry without address": (
        changed(GOOD, {"enable": True, "address": [{"index": 1}]}, *L3, "ipv6"), "ip"),
    "operator's edit of redir-port": (changed(GOOD, 61000, *ROW, "redir-port"), "redir-port"),
}


@pytest.mark.parametrize("name", BAD)
def test_refused(daemon, site, name):
    content, reason = BAD[name]
    start(daemon, {"eth1": 161})
    before = running(daemon)
    since = daemon.reload(content)
    daemon.wait_record(rf" fault .*{daemon.startup_file}.*{reason}", since)
    assert running(daemon) == before
    assert site.redirects() == ["eth1 . 161 : 60600"]
    assert snmp.answers(site.managers["red"], RED)


# Holds the IPv6 side of these ports; the daemon's probes are of the IPv4 side.
HOLD = """
import socket, sys
sockets = [socket.socket(socket.AF_INET6, socket.SOCK_DGRAM) for _ in sys.argv[1:]]
for each, port in zip(sockets, sys.argv[1:]):
    each.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
    each.bind(("::", int(port)))
print("held", flush=True)
sys.stdin.read()
"""


@contextlib.contextmanager
def ports_in_use(router, *ports):
    with subprocess.Popen(router.command("/usr/bin/python3", "-c", HOLD, *map(str, ports)),
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as holder:
        assert holder.stdout.readline() == "held\n"
        yield
        holder.stdin.close()


def test_rebind_names_the_listener_that_cannot_be_opened(daemon, site):
    start(daemon, {})
    with ports_in_use(site.router, 60600):
        since = reload(daemon, {"eth1": 161})
        daemon.wait_record(r"Forced ConfD's bind of SNMP, returned -1: "
                           r"\[::\]:60600: Address already in use$", since)
        assert snmp.answers(site.managers["red"], RED), "the other ones serve"
        assert silent(site.managers["red"], RED_V6)
    since = reload(daemon, {"eth1": 161, "eth2": 161})
    daemon.wait_record(REBOUND, since)
    assert snmp.answers(site.managers["red"], RED_V6)


def test_rebind_names_eight_listeners_at_most(daemon, site):
    names = [f"vlan{number}" for number in range(10)]
    vrfs = {name: "red" for name in names}
    start(daemon, {}, vrfs)
    with ports_in_use(site.router, *range(60600, 60610)):
        since = reload(daemon, {name: 161 for name in names}, vrfs)
        record = daemon.wait_record("Forced ConfD's bind of SNMP, returned -1: ", since)
    assert record.count("Address already in use") == 8
    assert record.endswith(", and 2 more")
