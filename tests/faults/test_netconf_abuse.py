"""Whoever may open the socket sends what nobody should: the daemon's memory has a ceiling, and the
agent answers meanwhile."""

import contextlib
import functools
import socket
import subprocess

from lab.load import Load
from lab.netconf import BASE, hello
from lab.site import DEFAULT
from lab.wait import wait_until

from .bench import ACKNOWLEDGED
from .process import children, status
from .settings import NEW, OLD
from .table import Stopwatch
from .together import Together

MIB = 1024  # KiB
# 16 sessions with a message of 2 MiB each, in a buffer that has grown to twice that, and one of
# them as a tree.
CEILING = 128 * MIB
PLENTY = 2 * 1024 * 1024
HELLO = hello("1.0").encode() + b"]]>]]>"
END = b"]]>]]>"


def rpc(content, attributes=""):
    return (f'<rpc xmlns="{BASE}" message-id="1"{attributes}>{content}</rpc>').encode() + END


def select(expression):
    return rpc(f'<get><filter type="xpath" select="{expression}"/></get>')


def nonsense(chance):
    return bytes(chance.getrandbits(8) for _ in range(chance.randrange(1, 5000))) + END


def deep(chance):
    return rpc("<a>" * chance.randrange(1000, 200000))


def wide(chance):
    return rpc("<get-config><source><running/></source><filter type='subtree'>" +
               "<a/>" * chance.randrange(100000, 400000) + "</filter></get-config>")


def attributes(chance):
    return rpc("<get/>", "".join(f' a{number}="b"' for number in
                                 range(chance.randrange(1000, 50000))))


def entities(_):
    lines = "".join(f'<!ENTITY e{number} "{f"&e{number - 1};" * 10}">' for number in range(1, 20))
    return (f'<!DOCTYPE rpc [<!ENTITY e0 "x">{lines}]>').encode() + rpc("<get>&e19;</get>")


def long_select(chance):
    return select(chance.choice(["/", "a|", "(", "-", "1+"]) * chance.randrange(1000, 60000) + "a")


def slow_select(chance):
    depth = chance.randrange(2, 12)
    return select("//*[" * depth + "." + "]" * depth)


def big_edit(chance):
    rows = "".join(f"<extraIpPorts>0.0.0.0:{number}</extraIpPorts>"
                   for number in range(1, chance.randrange(1000, 20000)))
    return rpc("<edit-config><target><candidate/></target><config>"
               f'<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent>{rows}</snmpAgent>'
               "</confdConfig></config></edit-config>")


MESSAGES = [nonsense, deep, wide, attributes, entities, long_select, slow_select, big_edit]


@contextlib.contextmanager
def session(bench, greeting=HELLO):
    with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as client:
        client.settimeout(10)
        client.connect(bench.daemon.netconf_socket)
        client.sendall(greeting)
        yield client


def send_messages(bench, chance):
    """One message after another, until the daemon ends the session."""
    with session(bench) as client:
        for _ in range(5):
            client.sendall(chance.choice(MESSAGES)(chance))
            client.settimeout(chance.choice([0.05, 1]))
            client.recv(65536)


def send_without_end(bench, chance):
    """More than a message may have."""
    with session(bench) as client:
        for _ in range(chance.randrange(1, 64)):
            client.sendall(b"<rpc>" + b"x" * 1024 * 1024)


def never_read(bench, _):
    """Requests whose replies nobody takes."""
    with session(bench) as client:
        client.settimeout(0.5)
        while True:
            client.sendall(rpc("<get/>"))


def come_and_go(bench, chance):
    for _ in range(50):
        with session(bench, nonsense(chance)):
            pass


ABUSES = [send_messages, send_messages, send_messages, send_without_end, never_read, come_and_go]


def each_abuse(bench, row):
    """Calls that do each of the abuses once; with the same seed each of them does the same."""
    def once(abuse, chance):
        with contextlib.suppress(OSError):
            abuse(bench, chance)
    return [functools.partial(once, abuse, type(row.chance)(f"{row.seed} {number}"))
            for number, abuse in enumerate(ABUSES)]


def test_abuse_of_netconf(benches, row):
    bench = benches[0]
    bench.row = row
    bench.bring(OLD)
    process = bench.daemon.process.pid
    before = status(process, "VmRSS")
    seconds = 120 if row.everything else 12
    with contextlib.ExitStack() as stack:
        stack.enter_context(Stopwatch(row))
        load = stack.enter_context(Load(bench.site.managers["default"], DEFAULT, rate=100))
        for _ in range(7):
            half = stack.enter_context(session(bench))
            half.sendall(b"<rpc>" + b"x" * (PLENTY - 100))
        abuses = stack.enter_context(Together(*each_abuse(bench, row)))
        with contextlib.suppress(subprocess.TimeoutExpired):
            bench.daemon.process.wait(seconds)
        counts = load.finish()
    assert bench.is_up(), bench.last_records()
    peak = status(process, "VmHWM")
    row.note(f"{abuses.count} sessions and more, resident {before // MIB} MiB, at most "
             f"{peak // MIB} of {CEILING // MIB}; {counts['sent']} SNMP requests, {counts['lost']} "
             f"lost, longest wait {counts['longest'] * 1000:.0f} ms")
    assert peak < CEILING
    assert counts["lost"] == 0 and counts["longest"] < 1
    wait_until(lambda: bench.commit(NEW) == ACKNOWLEDGED, "a place", 10)
    bench.check()
    assert children(process) == {}
    row.hold()
