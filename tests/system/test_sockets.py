"""The agent's sockets are its own, and what the system refuses them is told."""

import contextlib
import subprocess

import pytest

from lab import snmp
from lab.daemon import Daemon, configuration, listening
from lab.netconf import NS, Client
from lab.site import DEFAULT, RED, RED_V6, TABLES
from lab.wait import wait_until

MISSING = "198.51.100.9"
REBOUND = "Forced ConfD's bind of SNMP, returned 0: $"

# Binds a socket with every kind of sharing at each ADDRESS/PORT, prints what became of each, and
# keeps those that were bound until its input ends.
BIND = """
import socket, sys
kept = []
for word in sys.argv[1:]:
    address, port = word.split("/")
    family = socket.AF_INET6 if ":" in address else socket.AF_INET
    for options in ((), ("SO_REUSEADDR",), ("SO_REUSEPORT",), ("SO_REUSEADDR", "SO_REUSEPORT")):
        each = socket.socket(family, socket.SOCK_DGRAM)
        if family == socket.AF_INET6:
            each.setsockopt(socket.IPPROTO_IPV6, socket.IPV6_V6ONLY, 1)
        for option in options:
            each.setsockopt(socket.SOL_SOCKET, getattr(socket, option), 1)
        try:
            each.bind((address, int(port)))
            kept.append(each)
            print("bound", flush=True)
        except OSError as error:
            print(error.strerror, flush=True)
print("end", flush=True)
sys.stdin.read()
"""


@pytest.fixture
def daemon(site, build):
    with Daemon(site.router, build) as instance:
        yield instance


def content(extra=(), ports=None, **options):
    return {**configuration(DEFAULT, extra, **options),
            **listening({"eth1": 161} if ports is None else ports, {"eth1": "red"}, TABLES)}


def start(daemon, *arguments, **options):
    daemon.write_startup(content(*arguments, **options))
    daemon.start()


@contextlib.contextmanager
def binding(router, *places):
    """Another process that tries to bind there; what became of each attempt."""
    with subprocess.Popen(router.command("/usr/bin/python3", "-c", BIND, *places),
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as other:
        yield list(iter(lambda: other.stdout.readline().strip(), "end"))
        other.stdin.close()


def attempts(router, *places):
    with binding(router, *places) as results:
        return set(results)


AGENTS = (f"{DEFAULT}/161", "0.0.0.0/161", "0.0.0.0/60600", "::/60600", "::1/60600")


def test_nobody_shares_the_agents_ports(daemon, site):
    start(daemon)
    daemon.wait_record(REBOUND)
    in_use = {"Address already in use"}
    assert attempts(site.router, *AGENTS) == in_use, "after the load"
    since = daemon.reload(content([f"{DEFAULT}:1161"]))
    daemon.wait_record(REBOUND, since)
    assert len(daemon.records("Successfully bound to SNMP agent address", since)) == 2
    assert attempts(site.router, *AGENTS, f"{DEFAULT}/1161") == in_use, "after a change"
    since = daemon.reload(content([f"{MISSING}:161"]))
    daemon.wait_record("Starting timer for new bind retry", since)
    assert attempts(site.router, *AGENTS) == in_use, "while a retry is pending"
    site.router.add_address("eth0", f"{MISSING}/24")
    daemon.wait_record(REBOUND, since)
    assert attempts(site.router, *AGENTS, f"{MISSING}/161") == in_use, "after the retry"
    assert snmp.answers(site.managers["red"], RED)


def test_the_windows_of_a_probe_are_its_own(daemon, site):
    """A commit that no probe follows does not share a port for a moment: a socket that tries all the
    time never gets one."""
    start(daemon)
    daemon.wait_record(REBOUND)
    loop = BIND.replace("kept = []", "kept = []\nimport time\nend = time.monotonic() + 60") \
        .split("for word")[0] + """
print("ready", flush=True)
import select
while time.monotonic() < end and not select.select([sys.stdin], [], [], 0)[0]:
    each = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
    each.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
    try:
        each.bind(("0.0.0.0", 60600))
        print("bound", flush=True)
    except OSError:
        pass
    each.close()
print("end", flush=True)
"""
    with subprocess.Popen(site.router.command("/usr/bin/python3", "-c", loop),
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as other:
        assert other.stdout.readline() == "ready\n"
        for number in range(20):
            daemon.reload(content(communities=("public", f"c{number}")))
        other.stdin.close()
        assert other.stdout.read() == "end\n"


def test_no_listener_beside_a_socket_that_was_there_first(daemon, site):
    start(daemon, ports={})
    daemon.wait_record(REBOUND)
    with binding(site.router, "::/60600") as results:
        assert results[0] == "bound"
    # Of the four, the first keeps the others away; the one that shares is alone.
    hold = BIND.replace('((), ("SO_REUSEADDR",), ("SO_REUSEPORT",), ("SO_REUSEADDR", "SO_REUSEPORT"))',
                        '(("SO_REUSEADDR", "SO_REUSEPORT"),)')
    with subprocess.Popen(site.router.command("/usr/bin/python3", "-c", hold, "::/60600"),
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True) as other:
        assert other.stdout.readline() == "bound\n"
        since = daemon.reload(content())
        daemon.wait_record(r"Forced ConfD's bind of SNMP, returned -1: "
                           r"\[::\]:60600: Address already in use$", since)
        refusal = r"notice .*\[::\]:60600: not opened.*Address already in use"
        daemon.wait_record(refusal, since)
        assert snmp.answers(site.managers["red"], RED), "the other one serves"
        assert not snmp.answers(site.managers["red"], RED_V6, timeout=0.3)
        wait_until(lambda: listener(daemon, "[::]:60600")["tries"] == "2", "another attempt",
                   seconds=15)
        assert listener(daemon, "[::]:60600")["reason"] == "Address already in use"
        other.stdin.close()
    daemon.wait_record(r"notice .*\[::\]:60600: opened", since, seconds=25)
    assert snmp.answers(site.managers["red"], RED_V6)
    assert len(daemon.records(refusal, since)) == 1, "told once"
    assert len(daemon.records("Forced ConfD's bind of SNMP", since)) == 1, "not by the program"
    assert listener(daemon, "[::]:60600")["tries"] == "3"


def test_a_refused_listener_that_is_not_wanted_any_more_is_dropped(daemon, site):
    start(daemon, ports={})
    daemon.wait_record(REBOUND)
    with binding(site.router, "::/60600"):
        since = daemon.reload(content())
        daemon.wait_record("Forced ConfD's bind of SNMP, returned -1", since)
        assert state(daemon).findtext(".//state:retry-pending", namespaces=NS) == "true"
        since = daemon.reload(content(ports={}))
        daemon.wait_record(REBOUND, since)
        assert state(daemon).findtext(".//state:retry-pending", namespaces=NS) == "false"


def state(daemon):
    with Client(daemon.netconf_socket) as client:
        return client.state()


def leaves(entry):
    return {leaf.tag.split("}")[1]: leaf.text for leaf in entry}


def listener(daemon, endpoint):
    entries = map(leaves, state(daemon).iterfind(".//state:listener", NS))
    return next(entry for entry in entries if entry["endpoint"] == endpoint)


def test_answers_that_cannot_be_sent_are_counted_and_told_once(daemon, site):
    """A manager that the router has no route to."""
    for name in ("all", "default", "eth0"):
        site.router.run("sysctl", "-q", f"net.ipv4.conf.{name}.rp_filter=0")
    manager, far = site.managers["default"], "10.77.0.1"
    manager.ip("addr", "add", f"{far}/32", "dev", "lo")
    start(daemon)
    daemon.wait_record(REBOUND)
    assert "answers-not-sent" not in listener(daemon, f"{DEFAULT}:161")
    for _ in range(3):
        assert not snmp.answers(manager, DEFAULT, source=far, timeout=0.3)
    seen = listener(daemon, f"{DEFAULT}:161")
    assert seen["answers-not-sent"] == "3"
    assert seen["answer-error"] == "Network is unreachable"
    counters = leaves(state(daemon).find(".//state:counters", NS))
    assert counters["answers-not-sent"] == "3"
    told = daemon.records(f"{DEFAULT}:161: an answer to {far} was not sent: Network is unreachable")
    assert len(told) == 1
    assert snmp.answers(manager, DEFAULT), "others are answered"


def test_bad_communities_are_one_record_of_their_sender(daemon, site):
    start(daemon)
    daemon.wait_record(REBOUND)
    manager = site.managers["default"]
    flood = f"""
import socket
message = bytes.fromhex("3027020101040770726976617465a019020101020100020100"
                        "300e300c06082b060102010103000500")
sender = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
for _ in range(100):
    sender.sendto(message, ("{DEFAULT}", 161))
"""
    manager.run("/usr/bin/python3", "-c", flood)

    def refused():
        return int(leaves(state(daemon).find(".//state:counters", NS))["requests-refused"])

    wait_until(lambda: refused() == 100, "all of them refused")
    told = daemon.records("request refused: unknown community")
    assert len(told) == 1
    assert " notice " in str(told[0])
    assert snmp.answers(manager, DEFAULT), "others are answered"


class ReadOnlySettings:
    """A namespace in which the kernel's settings cannot be written."""

    def __init__(self, namespace):
        self._namespace = namespace

    def command(self, *words):
        return self._namespace.command(
            "unshare", "--mount", "sh", "-c",
            "mount --bind /proc/sys /proc/sys && mount -o remount,bind,ro /proc/sys && exec \"$@\"",
            "sh", *words)


def test_the_setting_of_vrf_devices_is_the_why_not(site, build):
    setting = "net.ipv4.udp_l3mdev_accept"
    if not site.router.run("sysctl", "-e", "-n", setting).strip():
        pytest.skip(f"this kernel has no {setting}")
    with Daemon(ReadOnlySettings(site.router), build) as daemon:
        start(daemon)
        daemon.wait_record(f"udp_l3mdev_accept cannot be set to 1")
        row = leaves(state(daemon).find(".//state:listening-interface", NS))
        assert row["redirect"] == "true"
        assert f"sysctl -w {setting}=1" in row["reason"]
        site.router.run("sysctl", "-q", "-w", f"{setting}=1")
        assert "reason" not in leaves(state(daemon).find(".//state:listening-interface", NS))
