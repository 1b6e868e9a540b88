"""Notification targets: which network a trap leaves by, and the kernel's routing rules."""

import contextlib
import json
import re

import pytest

from lab import traps
from lab.daemon import Daemon, configuration, listening, merged, targets
from lab.rule_watch import RuleWatch
from lab.site import DEFAULT, FAR, TABLES, Site
from lab.wait import wait_until


@pytest.fixture
def site():
    with Site() as instance:
        instance.add_far_network()
        yield instance


@pytest.fixture
def daemon(site, build):
    with Daemon(site.router, build) as instance:
        yield instance


@pytest.fixture
def receivers(site):
    """A trap receiver at the far address in each of two networks, on port 162."""
    with contextlib.ExitStack() as stack:
        yield {name: stack.enter_context(traps.Receiver(site.managers[name], FAR))
               for name in ("default", "red")}


def content(rows, tables=None, **options):
    return merged(configuration(DEFAULT, **options), targets(rows, tables or TABLES))


def start(daemon, rows, **options):
    daemon.write_startup(content(rows, **options))
    daemon.start()
    assert not daemon.records(" fault ")


def reload(daemon, rows, **options):
    since = daemon.reload(content(rows, **options))
    assert not daemon.records(" fault ", since)
    return since


def rule(port=162, table=100, address=FAR):
    return f"1400 from all to {address} ipproto udp dport {port} lookup {table} proto 175"


def test_trap_leaves_by_the_network_of_its_target(daemon, site, receivers):
    assert traps.arrival(site.router, FAR, receivers) == "default"
    start(daemon, {})
    assert site.destination_rules() == []
    assert traps.arrival(site.router, FAR, receivers) == "default"
    reload(daemon, {"t1": (FAR, 162, "red")})
    assert site.destination_rules() == [rule()]
    assert traps.arrival(site.router, FAR, receivers) == "red"
    reload(daemon, {})
    assert site.destination_rules() == []
    assert traps.arrival(site.router, FAR, receivers) == "default"


def test_targets_of_a_start(daemon, site, receivers):
    start(daemon, {"t1": (FAR, 162, "red"), "t2": ("10.9.9.10", 162, "blue"),
                   "t3": ("10.9.9.11", 162, None), "t4": ("2001:db8::9", 162, "red")})
    assert site.destination_rules() == [rule(address="10.9.9.10", table=200), rule()]
    assert "dport" not in site.router.ip("-6", "rule", "list")
    assert traps.arrival(site.router, FAR, receivers) == "red"


def test_rules_do_not_need_the_agent(daemon, site):
    start(daemon, {"t1": (FAR, 162, "red")}, enabled=False)
    assert site.destination_rules() == [rule()]


def test_port_change(daemon, site, receivers):
    start(daemon, {"t1": (FAR, 162, "red")})
    reload(daemon, {"t1": (FAR, 1162, "red")})
    assert site.destination_rules() == [rule(port=1162)]
    assert traps.arrival(site.router, FAR, receivers) == "default", "port 162 is nobody's now"
    with traps.Receiver(site.managers["red"], FAR, 1162) as other:
        assert traps.arrival(site.router, FAR, {"red": other}, 1162) == "red"


def test_vrf_change(daemon, site):
    start(daemon, {"t1": (FAR, 162, "red")})
    reload(daemon, {"t1": (FAR, 162, "blue")})
    assert site.destination_rules() == [rule(table=200)]


def test_address_change(daemon, site):
    start(daemon, {"t1": (FAR, 162, "red")})
    reload(daemon, {"t1": ("10.9.9.10", 162, "red")})
    assert site.destination_rules() == [rule(address="10.9.9.10")]


def test_all_leaves_change_at_once(daemon, site):
    start(daemon, {"t1": (FAR, 162, "red")})
    reload(daemon, {"t1": ("10.9.9.10", 1162, "blue")})
    assert site.destination_rules() == [rule(1162, 200, "10.9.9.10")]
    reload(daemon, {})
    assert site.destination_rules() == []


def test_vrf_leaf_removed_and_set_again(daemon, site, receivers):
    start(daemon, {"t1": (FAR, 162, "red")})
    reload(daemon, {"t1": (FAR, 162, None)})
    assert site.destination_rules() == []
    assert traps.arrival(site.router, FAR, receivers) == "default"
    reload(daemon, {"t1": (FAR, 162, "red")})
    assert site.destination_rules() == [rule()]
    assert traps.arrival(site.router, FAR, receivers) == "red"


def test_two_targets_with_the_same_rule(daemon, site, receivers):
    both = {"t1": (FAR, 162, "red"), "t2": (FAR, 162, "red")}
    start(daemon, {})
    reload(daemon, both)
    assert site.destination_rules() == [rule()]
    reload(daemon, {"t2": both["t2"]})
    assert site.destination_rules() == [rule()], "the other target still needs it"
    assert traps.arrival(site.router, FAR, receivers) == "red"
    reload(daemon, {})
    assert site.destination_rules() == []


def test_target_gets_another_name(daemon, site):
    start(daemon, {"t1": (FAR, 162, "red")})
    reload(daemon, {"t0": (FAR, 162, "red")})
    assert site.destination_rules() == [rule()]
    reload(daemon, {"t9": (FAR, 162, "red")})
    assert site.destination_rules() == [rule()]


def test_kill_and_start_leave_exactly_the_wanted_rules(daemon, site):
    foreign = "1400 from all to 10.9.9.12 ipproto udp dport 162 lookup 100"
    site.router.ip("rule", "add", "to", "10.9.9.12", "ipproto", "udp", "dport", "162", "lookup",
                   "100", "priority", "1400")
    start(daemon, {"t1": (FAR, 162, "red"), "t2": ("10.9.9.10", 162, "blue")})
    daemon.kill()
    assert len(site.destination_rules()) == 3, "routing rules outlive the process"
    # What the killed daemon installed and no target asks for any more goes as well.
    site.router.ip("rule", "add", "to", "10.9.9.99", "ipproto", "udp", "dport", "162", "lookup",
                   "100", "priority", "1400", "protocol", "175")
    daemon.start()
    wait_until(lambda: len(site.destination_rules()) == 3, "the sweep of the start")
    assert site.destination_rules() == [
        rule(address="10.9.9.10", table=200), foreign, rule()]


def many(count):
    return {f"t{number}": (f"10.{number // 256}.{number % 256}.1", 162, "red")
            for number in range(count)}


@pytest.mark.parametrize("count", [10, 300])
def test_no_rule_is_missing_during_a_restart(daemon, site, count):
    start(daemon, many(count))
    before = site.router.ip("-4", "rule", "list")
    daemon.kill()
    watch = RuleWatch(site.router)
    daemon.start()
    watch.finish()
    assert (watch.longest, watch.missing, watch.deletions) == (0.0, [], 0)
    assert site.router.ip("-4", "rule", "list") == before


def test_what_is_not_wanted_any_more_is_swept_behind_the_others(daemon, site):
    start(daemon, many(300))
    daemon.kill()
    stale = ("to", "10.9.9.99", "ipproto", "udp", "dport", "162", "lookup", "100", "priority",
             "1400", "protocol", "175")
    site.router.ip("rule", "add", *stale)
    # A plain list of another version, which every block differs from.
    for rule in list(site.destination_rules()):
        found = re.match(r"(\d+) from all to (\S+) ipproto udp dport 162 lookup 100", rule)
        if found and found[1] != "1400":
            site.router.ip("rule", "add", "to", found[2], "ipproto", "udp", "dport", "162", "lookup",
                           "100", "priority", "1400", "protocol", "175")
            site.router.ip("rule", "del", "to", found[2], "ipproto", "udp", "dport", "162",
                           "lookup", "100", "priority", found[1], "protocol", "175")
    watch = RuleWatch(site.router)
    daemon.start()
    watch.finish()
    assert watch.longest == 0.0
    assert watch.missing == [("10.9.9.99", "162", "100")]


def test_a_spare_rule_does_not_hide_a_missing_one(daemon, site):
    start(daemon, {"t1": (FAR, 162, "red")})
    site.router.ip("rule", "add", "fwmark", "77", "lookup", "77", "priority", "1500", "protocol",
                   "175")
    site.router.ip("rule", "del", "to", FAR, "priority", "1400")
    wait_until(lambda: site.destination_rules() == [rule()], "the rule put back")
    assert site.mark_rules() == [], "the spare one is nobody's"


def test_many_targets_each_leave_by_their_network(daemon, site, receivers):
    start(daemon, {**many(300), "far": (FAR, 162, "red")})
    listing = site.router.ip("-4", "rule", "list")
    assert "1399:\tnot from all ipproto udp dport 162 goto 1499" in listing
    assert "unresolved" not in listing
    assert traps.arrival(site.router, FAR, receivers) == "red"
    reload(daemon, many(300))
    assert traps.arrival(site.router, FAR, receivers) == "default"
    assert daemon.stop() == 0
    assert "proto 175" not in site.router.ip("-4", "rule", "list")


def test_orderly_end_leaves_no_rule(daemon, site):
    start(daemon, {"t1": (FAR, 162, "red")})
    assert daemon.stop() == 0
    assert site.destination_rules() == []


def test_rule_that_somebody_removed(daemon, site):
    start(daemon, {"t1": (FAR, 162, "red")})
    site.router.ip("rule", "del", "to", FAR, "priority", "1400")
    reload(daemon, {})
    assert site.destination_rules() == []


def test_targets_beside_listening_interfaces(daemon, site, receivers):
    whole = merged(content({"t1": (FAR, 162, "red")}),
                   listening({"eth1": 161}, {"eth1": "red"}, TABLES))
    daemon.write_startup(whole)
    daemon.start()
    assert site.destination_rules() == [rule()]
    assert len(site.mark_rules()) == 1
    assert traps.arrival(site.router, FAR, receivers) == "red"


ONE = {"t1": (FAR, 162, "red")}
TWO = {"t1": (FAR, 162, "red"), "t2": (FAR, 162, "blue")}
ADDRESS_ROW = ("SNMP-TARGET-MIB:SNMP-TARGET-MIB", "snmpTargetAddrTable", "snmpTargetAddrEntry")
TARGET = ("snmp:snmp", "target")


def edited(rows, path, edit):
    """The configuration with these targets; `edit` changes the list at `path`."""
    whole = json.loads(json.dumps(content(rows)))
    place = whole
    for step in path:
        place = place[step]
    edit(place)
    return whole


def update(**leaves):
    return lambda rows: rows[0].update(leaves)


BAD = {
    "an address that is none": (
        edited(ONE, TARGET, update(ip="10.9.9.256")), "target.*ip"),
    "an address of three numbers": (edited(ONE, TARGET, update(ip="10.9.9")), "target.*ip"),
    "port 0": (edited(ONE, TARGET, update(**{"udp-port": 0})), "udp-port"),
    "a port out of range": (edited(ONE, TARGET, update(**{"udp-port": 65536})), "udp-port"),
    "a VRF that does not exist": (edited(ONE, TARGET, update(vrf="green")), "green.*vrf"),
    "a name that cannot stand in a key path": (
        edited(ONE, TARGET, update(name="t{1}")), "name"),
    "a target without a row": (edited(ONE, ADDRESS_ROW, lambda rows: rows.clear()), "target.*t1"),
    "a row without a target": (edited(ONE, TARGET, lambda rows: rows.clear()),
                               "snmpTargetAddrEntry.*t1"),
    "a row with another address": (
        edited(ONE, ADDRESS_ROW, update(snmpTargetAddrTAddress="CgkJCgCi")), "10.9.9.10"),
    "one address and port in two VRFs": (content(TWO), "t1.*t2|t2.*t1"),
}


@pytest.mark.parametrize("name", BAD)
def test_refused(daemon, site, name):
    whole, reason = BAD[name]
    start(daemon, ONE)
    since = daemon.reload(whole)
    daemon.wait_record(rf" fault .*startup\.json.*{reason}", since)
    assert site.destination_rules() == [rule()], "nothing changed"
    reload(daemon, {})
    assert site.destination_rules() == []


def test_rules_that_somebody_removes_are_put_back(daemon, site):
    whole = merged(content({"t1": (FAR, 162, "red"), "t2": ("10.9.9.10", 162, "blue")}),
                   listening({"eth1": 161}, {"eth1": "red"}, TABLES))
    daemon.write_startup(whole)
    daemon.start()

    def rules():
        return [site.destination_rules(), site.mark_rules(), site.mark_rules("-6")]

    before, since = rules(), daemon.mark()
    for family in ("-4", "-6"):
        site.router.ip(family, "rule", "flush", "protocol", "175")
    site.router.run("nft", "flush", "ruleset")
    wait_until(lambda: rules() == before, "the rules put back", seconds=1.0)
    assert site.redirects() == ["eth1 . 161 : 60600"], "the kernel keeps them from others"
    daemon.wait_record("routing rules that somebody else had removed are back", since)
    told = [int(re.search(r"(\d+) routing rules that", line)[1])
            for line in daemon.records("are back", since)]
    assert sum(told) == 4 and len(told) <= 2, "told once for what goes at one time"
    since = daemon.reload(content({}))
    assert rules() == [[], [], []]
    assert not daemon.records("are back", since), "its own deletions are no reason"
