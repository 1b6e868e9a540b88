"""RFC 6242: framing, on the socket and by SSH."""

import socket

from lab.netconf import BASE, hello
from netconf_conformance.bench import SHAPE
from netconf_conformance.checks import Checks, refused
from netconf_conformance.session import Reply, edit, get_config, get_schema, subtree, top

CHECKS = Checks("6242")
COMMIT = f'<rpc xmlns="{BASE}" message-id="1"><commit/></rpc>'.encode()
END = b"\n##\n"


def chunk(data):
    return b"\n#%d\n%b" % (len(data), data)


def is_answered(bench, data, versions=("1.1",)):
    session = bench.session(versions)
    session.send_bytes(data)
    reply = Reply(session.receive())
    assert reply.is_ok, reply.text


def in_chunks(size):
    return b"".join(chunk(COMMIT[at:at + size]) for at in range(0, len(COMMIT), size)) + END


UTF8 = COMMIT.replace(b'"1"', '"ä€😀"'.encode())
CHECKS.each(
    "MUST", "4.2", is_answered,
    ("a message of one chunk is read", chunk(COMMIT) + END),
    ("a message of two chunks is read", in_chunks(40)),
    ("a message of chunks of one byte is read", in_chunks(1)),
    ("a chunk may end within a character",
     b"".join(chunk(UTF8[at:at + 1]) for at in range(len(UTF8))) + END),
    ("an end of the other framing within a chunk is none",
     chunk(COMMIT.replace(b"<commit/>", b"<commit/><!-- ]]>]]> -->")) + END),
    ("what looks like the end of the chunks within one is none",
     chunk(COMMIT.replace(b"<commit/>", b"<commit/><!--\n##\n-->")) + END),
)
CHECKS.each(
    "MAY", "4.2", is_answered,
    ("blanks stand in a chunk before the message", chunk(b"\n  " + COMMIT) + END),
    ("blanks stand in a chunk before a declaration",
     chunk(b'\n<?xml version="1.0"?>' + COMMIT) + END),
)


def ends_session(bench, data):
    session = bench.session(("1.1",))
    session.send_bytes(data)
    assert session.is_closed()
    assert bench.session().ask("<commit/>").is_ok


CHECKS.each(
    "MUST", "4.2", ends_session,
    ("a chunk of size 0 ends the session", b"\n#0\n" + END),
    ("a size with a leading zero ends the session", b"\n#0%d\n" % len(COMMIT) + COMMIT + END),
    ("a size of more than 4294967295 ends the session", b"\n#4294967296\n"),
    ("a size of eleven digits ends the session", b"\n#12345678901\n"),
    ("a size that is no number ends the session", b"\n#x\n"),
    ("a size with a sign ends the session", b"\n#+5\nhello" + END),
    ("a size with a blank ends the session", b"\n# 5\nhello" + END),
    ("a size of base 16 ends the session", b"\n#0x5\nhello" + END),
    ("an empty size ends the session", b"\n#\n" + END),
    ("an end without a chunk ends the session", END),
    ("a chunk without a line end before it ends the session", b"#%d\n" % len(COMMIT) + COMMIT),
    ("a message without framing ends the session", COMMIT),
    ("the framing of base:1.0 ends the session", COMMIT + b"]]>]]>"),
    ("something behind a chunk ends the session", chunk(COMMIT) + b"x" + END),
    ("a line end of two characters ends the session",
     b"\r\n#%d\r\n" % len(COMMIT) + COMMIT + b"\r\n##\r\n"),
)


@CHECKS.must("4.2", "a chunk that does not end at once is waited for")
def _(bench):
    session = bench.session(("1.1",))
    data = in_chunks(7)
    for at in range(0, len(data), 5):
        session.send_bytes(data[at:at + 5])
    assert "<ok/>" in session.receive()


@CHECKS.must("4.2", "two messages that come at once are both read")
def _(bench):
    session = bench.session(("1.1",))
    session.send_bytes((chunk(COMMIT) + END) * 2 + (chunk(COMMIT) + END)[:10])
    session.send_bytes((chunk(COMMIT) + END)[10:])
    for _ in range(3):
        assert "<ok/>" in session.receive()


@CHECKS.must("4.2", "a reply's chunks have the size that they tell")
def _(bench):
    session = bench.session(("1.1",))
    reply = session.ask(get_schema("<identifier>snmp</identifier>"))
    assert "module snmp {" in reply.text and reply.text.endswith("</rpc-reply>")


@CHECKS.must("4.2", "a size counts bytes, not characters")
def _(bench):
    session = bench.session(("1.1",))
    session.done(edit(top("<text>ä€😀</text>")))
    assert session.ask(get_config(subtree(top("<text/>")))).shape == "top{text=ä€😀}"


@CHECKS.must("4.1", "the hello has the framing of base:1.0 whatever follows")
def _(bench):
    session = bench.session(versions=())
    assert session.receive().endswith("</hello>")
    session.send_bytes(hello("1.0", "1.1").encode() + b"]]>]]>" + chunk(COMMIT) + END)
    session.is_chunked = True
    assert "<ok/>" in session.receive()


@CHECKS.must("4.1", "chunks are used when both have base:1.1")
def _(bench):
    session = bench.session(versions=())
    session.receive()
    session.send_bytes(hello("1.1").encode() + b"]]>]]>" + chunk(COMMIT) + END)
    assert session.socket.recv(2, socket.MSG_WAITALL) == b"\n#"


@CHECKS.must("4.1", "chunks are not used when the client has base:1.0 alone")
def _(bench):
    session = bench.session(versions=())
    session.receive()
    session.send_bytes(hello("1.0").encode() + b"]]>]]>" + COMMIT + b"]]>]]>")
    assert session.socket.recv(2, socket.MSG_WAITALL) == b"<r"


CHECKS.each(
    "MUST", "4.3", is_answered,
    ("a message with the framing of base:1.0 is read", COMMIT + b"]]>]]>", ("1.0",)),
    ("a number sign between line ends is text then",
     COMMIT.replace(b"<commit/>", b"<commit/><!--\n#5\n-->") + b"]]>]]>", ("1.0",)),
)
CHECKS.each(
    "MAY", "4.3", is_answered,
    ("a line end stands before a message", b"\n" + COMMIT + b"]]>]]>", ("1.0",)),
    ("blanks stand before a declaration", b'\r\n <?xml version="1.0"?>' + COMMIT + b"]]>]]>",
     ("1.0",)),
)


@CHECKS.must("4.3", "a reply of the framing of base:1.0 has its end once")
def _(bench):
    session = bench.session(("1.0",))
    session.done(edit(top("<text>]]&gt;]]&gt;</text>")))
    reply = session.ask(get_config(subtree(top("<text/>"))))
    assert reply.shape == "top{text=]]>]]>}"


@CHECKS.must("4.3", "an end that comes in parts is found")
def _(bench):
    session = bench.session(("1.0",))
    for byte in COMMIT + b"]]>]]>":
        session.send_bytes(bytes([byte]))
    assert "<ok/>" in session.receive()


@CHECKS.must("4.3", "two messages that come at once are both read")
def _(bench):
    session = bench.session(("1.0",))
    session.send_bytes((COMMIT + b"]]>]]>") * 2)
    for _ in range(2):
        assert "<ok/>" in session.receive()


# By SSH.

@CHECKS.must("3", "the subsystem netconf of SSH says hello")
def _(bench):
    session = bench.ssh()
    assert session.hello.tag == f"{{{BASE}}}hello" and session.number > 0


@CHECKS.must("3.1", "capabilities by SSH are those of the socket")
def _(bench):
    assert bench.ssh().capabilities == bench.session().capabilities


def by_ssh(bench, versions):
    session = bench.ssh(versions)
    assert session.top() == SHAPE
    session.done(edit(top("<text>other</text>")))
    assert "text=other" in session.top()


CHECKS.each("MUST", "4.2", by_ssh, ("chunks go by SSH, too", ("1.1",)))
CHECKS.each("MUST", "4.3", by_ssh, ("the framing of base:1.0 goes by SSH, too", ("1.0",)))


@CHECKS.must("4.2", "errors by SSH are those of the socket")
def _(bench):
    refused(bench.ssh().ask(edit(top("<absent/>"))), "application", "unknown-element",
            {"bad-element": "absent"}, "/conformance:top")


@CHECKS.must("4.2", "a message of many chunks goes by SSH")
def _(bench):
    session = bench.ssh()
    session.send_bytes(in_chunks(1))
    assert "<ok/>" in session.receive()


@CHECKS.must("4.2", "a long reply goes by SSH whole")
def _(bench):
    by_ssh_text = bench.ssh().ask(get_schema("<identifier>ietf-netconf</identifier>")).text
    assert by_ssh_text == bench.session().ask(
        get_schema("<identifier>ietf-netconf</identifier>")).text


@CHECKS.must("4.2", "a fault of the framing ends the SSH session, too")
def _(bench):
    session = bench.ssh()
    session.send_bytes(b"\n#0\n")
    assert session.is_closed()


@CHECKS.must("5", "close-session by SSH is answered, and the SSH session ends")
def _(bench):
    session = bench.ssh()
    session.done("<close-session/>")
    assert session.is_closed()
    assert session.process.wait(timeout=20) == 0


@CHECKS.must("5", "a client that goes away ends its session and its locks")
def _(bench):
    session = bench.ssh()
    session.done("<lock><target><running/></target></lock>")
    session.socket.close()
    session.process.wait(timeout=20)
    bench.put_back()


@CHECKS.must("5", "kill-session ends an SSH session")
def _(bench):
    session = bench.ssh()
    bench.session().done(f"<kill-session><session-id>{session.number}</session-id></kill-session>")
    assert session.is_closed()
    session.process.wait(timeout=20)


test_rfc6242 = CHECKS.test()
