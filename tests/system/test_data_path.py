"""The way of requests and answers, as networks of real routers have it: packets in transit, equal
addresses, managers that keep their sockets, operators' firewalls."""

import contextlib
import os
import socket
import threading
import time

import pytest

from lab import snmp
from lab.daemon import Daemon, configuration, listening
from lab.load import get_request
from lab.network import Namespace, connect
from lab.poller import SO_NO_CHECK, Poller, socket_in
from lab.site import BLUE, BLUE_V6, DEFAULT, RED, RED_V6
from lab.twins import ROUTER, ROUTER_V6, Twins
from lab.wait import wait_until

REBOUND = "Forced ConfD's bind of SNMP, returned 0: $"
ADDRESSES = {"default": [DEFAULT], "red": [RED, RED_V6], "blue": [BLUE, BLUE_V6]}
SILENCE = 0.4


@pytest.fixture
def daemon(site, build):
    with Daemon(site.router, build) as instance:
        yield instance


def content(ports):
    return {**configuration(DEFAULT),
            **listening(ports, {"eth1": "red", "eth2": "blue"}, {"red": 100, "blue": 200})}


def start(daemon, ports):
    daemon.write_startup(content(ports))
    daemon.start()
    daemon.wait_record(REBOUND)


def reload(daemon, ports):
    since = daemon.reload(content(ports))
    assert not daemon.records(" fault ", since)


@contextlib.contextmanager
def responder(namespace, family, words):
    """Answers whatever comes to port 161 there with these words."""
    server = socket_in(namespace, family)
    server.bind(("::" if family == socket.AF_INET6 else "0.0.0.0", 161))
    server.settimeout(0.1)
    end = threading.Event()

    def serve():
        while not end.is_set():
            with contextlib.suppress(socket.timeout):
                server.sendto(words, server.recvfrom(65535)[1])

    thread = threading.Thread(target=serve)
    thread.start()
    try:
        yield
    finally:
        end.set()
        thread.join()
        server.close()


@pytest.fixture
def device(site):
    """Another device in red, behind the router."""
    namespace = Namespace("device")
    connect(site.router, "eth3", namespace, "eth0")
    site.router.run("sysctl", "-q", "net.ipv4.ip_forward=1", "net.ipv6.conf.all.forwarding=1")
    site.vrfs["red"].attach("eth3", "203.0.114.1/24", "2001:db8:3::1/64")
    for own, near, far, gateway, red in (
            ("203.0.114.2/24", "203.0.114.0/24", "203.0.113.0/24", "203.0.114.1", RED),
            ("2001:db8:3::2/64", "2001:db8:3::/64", "2001:db8:1::/64", "2001:db8:3::1", RED_V6)):
        namespace.add_address("eth0", own)
        namespace.ip("route", "add", far, "via", gateway)
        site.managers["red"].ip("route", "add", near, "via", red)
    yield namespace
    namespace.remove()


@pytest.mark.parametrize("address", ["203.0.114.2", "2001:db8:3::2"])
def test_another_device_behind_the_router_answers_itself(daemon, site, device, address):
    start(daemon, {"eth1": 161})
    assert snmp.answers(site.managers["red"], RED)
    family = socket.AF_INET6 if ":" in address else socket.AF_INET
    with responder(device, family, b"another device"), \
            Poller(site.managers["red"], address) as poller:
        def ask():
            poller.send(1)
            return poller.receive(0.5)

        heard = []
        wait_until(lambda: heard.append(ask()) or heard[-1], "an answer over new links")
        assert [ask() for _ in range(3)] == [b"another device"] * 3
        assert set(heard) <= {None, b"another device"}


@pytest.mark.parametrize("count", [2, 64])
@pytest.mark.parametrize("address", [ROUTER, ROUTER_V6])
def test_equal_addresses_and_source_ports_at_once(build, count, address):
    """All requests are on their way before the first answer is read."""
    with Twins(count) as twins, Daemon(twins.router, build, "notice") as daemon, \
            contextlib.ExitStack() as stack:
        daemon.write_startup(twins.configuration())
        daemon.start(wait=False)
        daemon.wait_ready(60)
        pollers = [stack.enter_context(Poller(manager, address, source_port=5555))
                   for manager in twins.managers]
        for turn in range(3):
            questions = [0x01000000 + 1000 * turn + number for number in twins.numbers]
            for poller, question in zip(pollers, questions):
                poller.send(question)
            until = time.monotonic() + 5
            assert [poller.answer(max(0.0, until - time.monotonic()))
                    for poller in pollers] == questions
        assert [poller.answer(0.0) for poller in pollers] == [None] * count, "stray answers"


@pytest.mark.parametrize("address", [RED, RED_V6])
def test_a_manager_that_polled_before_is_answered_at_once(daemon, site, address):
    start(daemon, {"eth2": 161})
    with Poller(site.managers["red"], address) as poller:
        for _ in range(3):
            assert not poller.is_answered(0.1)
        reload(daemon, {"eth1": 161, "eth2": 161})
        for _ in range(3):
            assert poller.is_answered()


def test_managers_are_answered_after_redirect_ports_change_hands(daemon, site):
    start(daemon, {"eth1": 161, "eth2": 161})
    before = site.redirects()
    with Poller(site.managers["red"], RED) as red, Poller(site.managers["blue"], BLUE) as blue:
        assert red.is_answered() and blue.is_answered()
        for ports in ({"eth2": 161}, {}, {"eth2": 161}):
            reload(daemon, ports)
            assert not red.is_answered(0.1)
        reload(daemon, {"eth1": 161, "eth2": 161})
        assert site.redirects() != before
        for _ in range(3):
            assert red.is_answered() and blue.is_answered()


@pytest.mark.parametrize("address", [RED, RED_V6])
def test_a_removed_port_stops_answering(daemon, site, address):
    start(daemon, {"eth1": 161})
    with Poller(site.managers["red"], address) as former, \
            Poller(site.managers["red"], address, 1161) as later:
        assert former.is_answered()
        assert not later.is_answered(SILENCE)
        reload(daemon, {"eth1": 1161})
        assert later.is_answered()
        assert not former.is_answered(SILENCE)
        assert not former.is_answered(SILENCE)


def answered_from(namespace, address, port, unsummed=False):
    """The port that an answer comes from, whichever was asked; None when none comes."""
    family = socket.AF_INET6 if ":" in address else socket.AF_INET
    with socket_in(namespace, family) as manager:
        manager.settimeout(SILENCE)
        if unsummed:
            manager.setsockopt(socket.SOL_SOCKET, SO_NO_CHECK, 1)
        manager.sendto(get_request(1), (address, port))
        try:
            return manager.recvfrom(65535)[1][1]
        except socket.timeout:
            return None


@pytest.mark.parametrize("network", ADDRESSES)
def test_redirect_ports_answer_nobody(daemon, site, network):
    start(daemon, {"eth1": 161, "eth2": 161})
    for address in ADDRESSES[network]:
        assert snmp.answers(site.managers[network], address)
        for port in (60600, 60601):
            assert answered_from(site.managers[network], address, port) is None


def test_a_port_that_is_a_redirect_port_of_another_is_served(daemon, site):
    start(daemon, {"eth1": 161, "eth2": 60600})
    assert site.redirects() == ["eth1 . 161 : 60600", "eth2 . 60600 : 60601"]
    for address in ADDRESSES["blue"]:
        assert snmp.answers(site.managers["blue"], address, port=60600)
    for address in ADDRESSES["red"]:
        assert snmp.answers(site.managers["red"], address)
        assert not snmp.answers(site.managers["red"], address, port=60600, timeout=SILENCE)


FIREWALL = """
table inet firewall {
  chain input {
    type filter hook input priority 0; policy drop;
    ct state established accept
    meta l4proto { icmp, icmpv6 } accept
    udp dport 161 counter accept
  }
  chain output {
    type filter hook output priority 0; policy drop;
    # What leaves by a VRF device passes here twice, the first time untracked.
    ct state { established, untracked } accept
    meta l4proto { icmp, icmpv6 } accept
  }
}
"""


def test_a_firewall_sees_the_port_that_was_asked(daemon, site):
    try:
        site.router.run("nft", "-f", "-", input=FIREWALL)
    except RuntimeError as error:
        pytest.skip(f"this kernel tracks no connections: {error}")
    start(daemon, {"eth1": 161, "eth2": 161})
    for network, addresses in ADDRESSES.items():
        for address in addresses:
            with Poller(site.managers[network], address) as poller:
                assert all(poller.is_answered() for _ in range(3)), address
    listing = site.router.run("nft", "list", "chain", "inet", "firewall", "input")
    assert "counter packets 5 " in listing, "one for each manager and address: the rest is tracked"


def test_no_connection_is_tracked(daemon, site):
    """Without a firewall that asks for it."""
    start(daemon, {"eth1": 161})
    for address in ADDRESSES["red"]:
        assert snmp.answers(site.managers["red"], address)
    count = "/proc/sys/net/netfilter/nf_conntrack_count"
    if os.path.exists(count):
        assert site.router.run("cat", count).strip() == "0"
    assert "type nat" not in site.router.run("nft", "list", "table", "inet", "snmp-app")


def test_requests_without_a_checksum_are_answered(daemon, site):
    """IPv4 permits them (RFC 768)."""
    start(daemon, {"eth1": 161})
    with Poller(site.managers["red"], RED) as poller:
        assert poller.without_checksum().is_answered()
    assert answered_from(site.managers["red"], RED, 60600, unsummed=True) is None


@pytest.mark.parametrize("network, address", [("red", RED), ("red", RED_V6)])
def test_requests_in_fragments_are_answered(daemon, site, network, address):
    """120 variables are more than one frame, there and back."""
    start(daemon, {"eth1": 161})
    oids = [snmp.SYS_UPTIME] * 120
    values = snmp.get_all(site.managers[network], address, oids)
    assert values is not None and len(values) == len(oids)


@pytest.fixture
def far_manager(site):
    """A manager in red behind a link that takes 1,300 bytes (IPv6: 1,300, too)."""
    namespace, hop = Namespace("far"), site.managers["red"]
    connect(hop, "eth1", namespace, "eth0")
    hop.run("sysctl", "-q", "net.ipv4.ip_forward=1", "net.ipv6.conf.all.forwarding=1")
    for own, far, near, gateway, router_side, next_hop in (
            ("10.8.0.1/24", "10.8.0.2/24", "203.0.113.0/24", "10.8.0.1", "10.8.0.0/24",
             "203.0.113.100"),
            ("2001:db8:8::1/64", "2001:db8:8::2/64", "2001:db8:1::/64", "2001:db8:8::1",
             "2001:db8:8::/64", "2001:db8:1::100")):
        hop.add_address("eth1", own)
        namespace.add_address("eth0", far)
        namespace.ip("route", "add", near, "via", gateway)
        site.vrfs["red"].add_route(router_side, next_hop)
    hop.ip("link", "set", "eth1", "mtu", "1300")
    namespace.ip("link", "set", "eth0", "mtu", "1300")
    yield namespace
    namespace.remove()


@pytest.mark.parametrize("address", [RED, RED_V6])
@pytest.mark.parametrize("count", [88, 120])
def test_long_answers_over_a_path_with_a_small_mtu(daemon, site, far_manager, address, count):
    """The router on the way tells that an answer is too big; the next one fits. 88 variables fill
    a packet between both sizes, 120 more than one of the larger ones."""
    start(daemon, {"eth1": 161})
    wait_until(lambda: snmp.answers(far_manager, address), "a short answer over new links")
    oids = [snmp.SYS_UPTIME] * count
    wait_until(lambda: snmp.get_all(far_manager, address, oids, timeout=2.0),
               "an answer in packets that fit", seconds=20)


def test_the_table_is_this_process_own(daemon, site):
    start(daemon, {"eth1": 161})
    with pytest.raises(RuntimeError, match="Operation not permitted"):
        site.router.run("nft", "delete", "table", "inet", "snmp-app")
    daemon.kill()
    wait_until(lambda: site.redirects() == [], "the table gone")
