"""What the other tests rest on: a stored configuration is read rightly, a difference is found."""

import json

import pytest

from . import kernel, oracle
from .bench import ACKNOWLEDGED
from .settings import NEW, OLD, numbered, settings_of
from .table import Row, Violation

STORED = {
    "confd_dyncfg:confdConfig": {"snmpAgent": {
        "enabled": True, "ip": "198.51.100.1", "port": 161,
        "extraIpPorts": ["[2001:db8::1]:162", "0.0.0.0:60600"]}},
    "metacli-internal:internal": {"vrf-config": {"stringTOindex": [
        {"name": "red", "vrf-idx": 100}]}},
    "config:config": {"interface": {"l3": [
        {"name": "eth1", "vrf": "red", "kernel-name": "eth1.7"}, {"name": "eth2"}]}},
    "snmp:snmp": {
        "target": [{"name": "a", "ip": "203.0.113.100", "udp-port": 162, "vrf": "red"},
                   {"name": "b", "ip": "2001:db8:1::100", "udp-port": 162, "vrf": "red"},
                   {"name": "c", "ip": "198.51.100.100", "udp-port": 162}],
        "agent": {"listen": {"interface": [
            {"name": "l3-eth1", "udp-port": 161, "redir-port": 60600},
            {"name": "l3-eth2", "udp-port": 161, "redir-port": 60601}]}}},
}


def test_what_a_configuration_asks_for():
    assert oracle.wanted(STORED).things() == {
        "listener 198.51.100.1 161", "listener 2001:db8::1 162", "listener 0.0.0.0 60600",
        "listener :: 60600", "redirect eth1.7 161 to 60600", "rule 4 1500 mark 100 100",
        "rule 6 1500 mark 100 100", "rule 4 1400 to 203.0.113.100 port 162 100"}


def test_a_disabled_agent_has_rules_of_targets_only():
    disabled = json.loads(json.dumps(STORED))
    disabled["confd_dyncfg:confdConfig"]["snmpAgent"]["enabled"] = False
    assert oracle.wanted(disabled).things() == {"rule 4 1400 to 203.0.113.100 port 162 100"}
    assert oracle.wanted(None).things() == set()


def test_a_half_stored_configuration_is_not_whole():
    with pytest.raises(ValueError):
        settings_of(STORED)


def test_a_row_with_a_violation_does_not_hold():
    row = Row("name", 1, False)
    with pytest.raises(AssertionError):
        row.hold()
    row.note("done")
    row.hold()
    row.violate("case", "reason")
    with pytest.raises(Violation, match="case: reason"):
        row.hold()


def test_the_parts_of_all_cases_are_all_cases():
    parts = [Row("name", 1, True, (number, 3)).sample(range(10), 2) for number in (1, 2, 3)]
    assert [len(part) for part in parts] == [4, 3, 3]
    assert sorted(sum(parts, [])) == list(range(10))


@pytest.fixture
def bench(benches):
    benches[0].row = None
    benches[0].bring(OLD)
    benches[0].check()
    return benches[0]


@pytest.mark.parametrize("settings", [NEW, numbered(7)])
def test_a_commit_is_seen(bench, settings):
    before = bench.things()
    assert bench.commit(settings) == ACKNOWLEDGED
    assert bench.settings() == settings
    assert bench.things() != before
    bench.check()


def test_what_is_missing_or_besides_is_found(bench):
    bench.daemon.tell(19)  # so that it repairs nothing
    try:
        bench.site.router.ip("rule", "del", "priority", "1400", "to", "203.0.113.100", "ipproto",
                             "udp", "dport", "162", "lookup", "100")
        bench.site.router.ip("rule", "add", "priority", "1500", "fwmark", "7", "lookup", "7",
                             "protocol", kernel.PROTOCOL)
        assert bench.differences() == ["has besides rule 4 1500 mark 7 7",
                                       "lacks rule 4 1400 to 203.0.113.100 port 162 100"]
    finally:
        bench.daemon.tell(18)
    bench.check()


def test_what_is_done_to_others_is_found(bench):
    bench.site.router.run("nft", "delete element ip snmp ports { 161 }")
    try:
        with pytest.raises(Violation, match="things of others"):
            bench.differences()
    finally:
        bench.site.router.run("nft", "add element ip snmp ports { 161 }")
    assert not bench.differences()
