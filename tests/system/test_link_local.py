"""IPv6 requests in a VRF, between all pairs of link-local and global addresses. On a kernel with VRF
devices the answers need the interface that the request came in by."""

import pytest

from lab import snmp
from lab.daemon import Daemon, configuration, listening
from lab.site import BLUE_V6, DEFAULT, RED_V6, TABLES

# The same in both VRFs: only the network that an answer leaves by tells them apart.
ROUTER_LINK, MANAGER_LINK = "fe80::1", "fe80::2"
GLOBAL = {"red": (RED_V6, "2001:db8:1::100"), "blue": (BLUE_V6, "2001:db8:2::100")}
VRFS = {"eth1": "red", "eth2": "blue"}


@pytest.fixture
def daemon(site, build):
    for interface, vrf in VRFS.items():
        site.router.add_address(interface, f"{ROUTER_LINK}/64")
        site.managers[vrf].add_address("eth0", f"{MANAGER_LINK}/64")
    with Daemon(site.router, build) as instance:
        yield instance


def start(daemon, ip, ports):
    daemon.write_startup({**configuration(ip), **listening(ports, VRFS, TABLES)})
    daemon.start()
    daemon.wait_record("Forced ConfD's bind of SNMP, returned 0: $")


@pytest.mark.parametrize("to_link", (False, True), ids=("to-global", "to-link-local"))
@pytest.mark.parametrize("from_link", (False, True), ids=("from-global", "from-link-local"))
def test_answered_in_each_vrf(daemon, site, from_link, to_link):
    start(daemon, DEFAULT, {"eth1": 161, "eth2": 161})
    for vrf, (router, manager) in GLOBAL.items():
        address = f"{ROUTER_LINK}%eth0" if to_link else router
        source = f"{MANAGER_LINK}%eth0" if from_link else manager
        assert snmp.answers(site.managers[vrf], address, source=source, timeout=3), vrf


def test_a_gateway_of_the_vrf_is_the_way_back(daemon, site):
    """The manager is not on the link that the request comes in by."""
    far = "2001:db8:9::9"
    site.managers["red"].ip("addr", "add", f"{far}/128", "dev", "lo")
    site.vrfs["red"].add_route(f"{far}/128", "2001:db8:1::100")
    start(daemon, DEFAULT, {"eth1": 161})
    assert snmp.answers(site.managers["red"], RED_V6, source=far, timeout=3)


def test_same_address_in_two_vrfs_and_outside(daemon, site):
    """The answer leaves by the VRF of its request, also where its source is an address outside."""
    shared = "2001:db8:5::1"
    site.router.add_address("eth0", f"{shared}/64")
    for interface, vrf in VRFS.items():
        site.vrfs[vrf].attach(interface, f"{shared}/64")
        site.managers[vrf].add_address("eth0", "2001:db8:5::100/64")
    site.managers["default"].add_address("eth0", "2001:db8:5::100/64")
    start(daemon, DEFAULT, {"eth1": 161, "eth2": 161})
    for vrf in GLOBAL:
        assert snmp.answers(site.managers[vrf], shared, source="2001:db8:5::100", timeout=3), vrf


@pytest.mark.parametrize("source", (f"{MANAGER_LINK}%eth0", "2001:db8:6::100"))
def test_link_local_address_outside_of_vrfs(daemon, site, source):
    site.router.add_address("eth0", f"{ROUTER_LINK}/64")
    site.router.add_address("eth0", "2001:db8:6::1/64")
    manager = site.managers["default"]
    manager.add_address("eth0", f"{MANAGER_LINK}/64")
    manager.add_address("eth0", "2001:db8:6::100/64")
    start(daemon, "::", {})
    assert snmp.answers(manager, f"{ROUTER_LINK}%eth0", source=source, timeout=3)
