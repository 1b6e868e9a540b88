"""RFC 6241, sections 3, 4 and 8.1: messages, requests, replies, errors, hellos."""

import re

from lab.netconf import BASE, hello
from netconf_conformance.checks import Checks, refused
from netconf_conformance.session import (MODEL, XML, copy, edit, get_config, get_schema, on, op,
                                         row, subtree, top)

CHECKS = Checks("6241")
RPC = f'<rpc xmlns="{BASE}" message-id="1">{{}}</rpc>'
COMMIT = RPC.format("<commit/>")


def closed_behind(bench, message, versions=("1.0", "1.1")):
    """The tag of the error behind which the server ends the session."""
    session = bench.session(versions)
    error = session.raw(message).error
    assert session.is_closed()
    return error


def is_malformed(bench, message):
    error = closed_behind(bench, message)
    refused(error, "rpc", "malformed-message")


CHECKS.each(
    "SHOULD", "3", is_malformed,
    ("a message that is not well-formed is answered by malformed-message", COMMIT[:-2]),
    ("tags that do not match are malformed-message", RPC.format("<commit></lock>")),
    ("an entity that is not declared is malformed-message", RPC.format("<commit>&x;</commit>")),
    ("bytes that are no UTF-8 are malformed-message", RPC.format("<commit/>").encode() + b"\xff"),
    ("a character that XML does not have is malformed-message", RPC.format("&#1;")),
    ("a prefix that is not declared is malformed-message", RPC.format("<x:commit/>")),
    ("text behind the request is malformed-message", COMMIT + "x"),
    ("two requests in one message are malformed-message", COMMIT + COMMIT),
    ("an attribute twice is malformed-message",
     f'<rpc xmlns="{BASE}" message-id="1" message-id="2"><commit/></rpc>'),
)
CHECKS.each(
    "MUST", "3", is_malformed,
    ("a document type declaration is not taken", "<!DOCTYPE rpc>" + COMMIT),
    ("an entity of a document type declaration is not taken",
     '<!DOCTYPE rpc [<!ENTITY a "b">]>' + RPC.format("<commit>&a;</commit>")),
)
CHECKS.each(
    "MUST", "3.1", is_malformed,
    ("an rpc without a namespace is none", '<rpc message-id="1"><commit/></rpc>'),
    ("an rpc of another namespace is none", '<rpc xmlns="urn:x" message-id="1"><commit/></rpc>'),
    ("text beside the elements of a configuration is none of a request",
     RPC.format(edit(top("<text>a</text>") + "text"))),
    ("an rpc-reply is no request", f'<rpc-reply xmlns="{BASE}" message-id="1"/>'),
)


def is_answered(bench, message):
    reply = bench.session().raw(message)
    assert reply.is_ok, reply.text


CHECKS.each(
    "MUST", "3", is_answered,
    ("a message without a declaration is read", COMMIT),
    ("bytes of UTF-8 in attributes are read", COMMIT.replace('"1"', '"äöü€😀"')),
    ("a prefix stands for the namespace",
     f'<n:rpc xmlns:n="{BASE}" message-id="1"><n:commit/></n:rpc>'),
    ("the namespace may be declared at each element",
     f'<rpc xmlns="{BASE}" message-id="1"><commit xmlns="{BASE}"></commit></rpc>'),
    ("references to blanks behind an operation are read", RPC.format("<commit/>&#10;&#x20;")),
    ("references to characters are read",
     RPC.format(edit(top("<text>&#97;&#x1F600;&lt;</text>"), test_option="test-only"))),
)
CHECKS.each(
    "MAY", "3", is_answered,
    ("a message begins with an XML declaration", "<?xml version='1.0' encoding='UTF-8'?>" + COMMIT),
    ("a declaration has no encoding", '<?xml version="1.0"?>' + COMMIT),
    ("blanks stand before a declaration", '\n \t\r\n<?xml version="1.0"?>\n' + COMMIT),
    ("blanks stand before and behind a request", f"\n\n{COMMIT}\n\n"),
    ("comments stand in and before a request",
     "<!-- a -->" + RPC.format("<!-- b --><commit/><!-- <c> -->")),
    ("processing instructions stand before a request", "<?a b?>" + COMMIT),
    ("blanks stand around an operation", RPC.format("\n  <commit/>\n")),
)


def attributes_of(bench, attributes, operation):
    reply = bench.session().ask(operation, attributes)
    return reply, dict(reply.root.attrib)


def is_returned(bench, identifier, expected=None, operation="<commit/>"):
    attributes = attributes_of(bench, f'message-id="{identifier}"', operation)[1]
    assert attributes == {"message-id": identifier if expected is None else expected}


CHECKS.each(
    "MUST", "4.1", is_returned,
    ("a message-id is returned", "101"),
    ("a message-id that is no number is returned", "a-b.c"),
    ("a message-id with blanks is returned", " a  b "),
    ("a message-id of other scripts is returned", "äß漢😀"),
    ("a message-id with markup is returned", "&lt;a b=&quot;&amp;&quot;&gt;", '<a b="&">'),
    ("a message-id with apostrophes is returned", "it's"),
    ("an empty message-id is returned", ""),
    ("a message-id of 4095 characters is returned", "x" * 4095),
    ("a message-id with line ends is normalized and returned", "a\nb\tc", "a b c"),
    ("a message-id with references to line ends is returned", "a&#10;b&#9;c", "a\nb\tc"),
    ("a message-id is returned with an error", "102", None, "<absent/>"),
    ("a message-id is returned with data", "103", None, get_config()),
)


@CHECKS.must("4.1", "an rpc without a message-id is refused by missing-attribute")
def _(bench):
    refused(bench.session().ask("<commit/>", ""), "rpc", "missing-attribute",
            {"bad-attribute": "message-id", "bad-element": "rpc"})


@CHECKS.must("4.1", "a message-id of another namespace is none")
def _(bench):
    refused(bench.session().ask("<commit/>", 'xmlns:a="urn:a" a:message-id="1"'), "rpc",
            "missing-attribute", {"bad-attribute": "message-id", "bad-element": "rpc"})


@CHECKS.must("4.1", "what lacks a message-id is not done")
def _(bench):
    session = bench.session()
    session.ask(edit(top("<text>other</text>")), "")
    assert "text=hello" in session.top()


@CHECKS.must("4.1", "further attributes of an rpc are returned unmodified")
def _(bench):
    _, attributes = attributes_of(bench, 'message-id="1" user="fred" a="b &amp; c"', "<commit/>")
    assert attributes == {"message-id": "1", "user": "fred", "a": "b & c"}


@CHECKS.must("4.1", "attributes of other namespaces are returned with their namespace")
def _(bench):
    _, attributes = attributes_of(
        bench, 'message-id="1" xmlns:e="urn:e" e:user="fred" e:b="" xml:lang="de"', "<commit/>")
    assert attributes == {"message-id": "1", "{urn:e}user": "fred", "{urn:e}b": "",
                          f"{{{XML}}}lang": "de"}


@CHECKS.must("4.1", "further attributes are returned with an error, too")
def _(bench):
    reply, attributes = attributes_of(bench, 'message-id="1" user="fred"', "<absent/>")
    assert reply.errors and attributes == {"message-id": "1", "user": "fred"}


def is_refused(bench, operation, kind, tag, info=None, path=""):
    session = bench.session()
    refused(session.ask(operation), kind, tag, info, path)
    assert session.ask("<commit/>").is_ok, "the session goes on"


CHECKS.each(
    "MUST", "4.1", is_refused,
    ("an rpc without an operation is refused", "", "protocol", "missing-element"),
    ("an rpc with two operations is refused", "<commit/><commit/>", "protocol", "unknown-element",
     {"bad-element": "commit"}),
    ("an operation that there is not is refused", "<absent/>", "protocol", "unknown-element",
     {"bad-element": "absent"}),
    ("an operation of an unknown namespace is refused", '<commit xmlns="urn:x"/>', "protocol",
     "unknown-namespace", {"bad-namespace": "urn:x"}),
    ("a parameter that there is not is refused", "<commit><absent/></commit>", "protocol",
     "unknown-element", {"bad-element": "absent"}),
    ("an attribute of an operation is refused", '<commit now="1"/>', "protocol",
     "unknown-attribute", {"bad-attribute": "now", "bad-element": "commit"}),
    ("a parameter twice is refused",
     "<lock><target><running/></target><target><running/></target></lock>", "protocol",
     "bad-element", {"bad-element": "target"}),
    ("text where elements stand is refused", "<lock>text</lock>", "protocol", "invalid-value"),
    ("an element in a leaf is refused",
     "<commit><persist><a/></persist></commit>", "protocol", "unknown-element",
     {"bad-element": "a"}, "/ietf-netconf:commit/ietf-netconf:persist"),
    ("an element in a leaf of a number is refused",
     "<kill-session><session-id><a/></session-id></kill-session>", "protocol", "invalid-value",
     {"bad-element": "session-id"}, "/ietf-netconf:kill-session/ietf-netconf:session-id"),
    ("a model's operation that nobody does is not supported", f'<act xmlns="{MODEL}"/>', "protocol",
     "operation-not-supported"),
    ("a parameter of such an operation is checked", f'<act xmlns="{MODEL}"><no/></act>', "protocol",
     "unknown-element", {"bad-element": "no"}),
)


@CHECKS.must("4.2", "a reply is an rpc-reply of the base namespace")
def _(bench):
    session = bench.session()
    for operation in ("<commit/>", get_config(), "<absent/>"):
        assert session.ask(operation).root.tag == f"{{{BASE}}}rpc-reply"


@CHECKS.must("4.2", "data stand in a data element of the base namespace")
def _(bench):
    reply = bench.session().ask(get_config())
    assert [child.tag for child in reply.root] == [f"{{{BASE}}}data"]


def error_of(bench):
    return bench.session().ask(edit(top("<small>7</small>"))).error


@CHECKS.must("4.3", "an error's parts stand in the order of its schema")
def _(bench):
    order = ["error-type", "error-tag", "error-severity", "error-app-tag", "error-path",
             "error-message", "error-info"]
    names = [child.tag for child in error_of(bench).element]
    assert names == [f"{{{BASE}}}{name}" for name in order]


@CHECKS.must("4.3", "an error's path is an absolute one")
def _(bench):
    assert error_of(bench).path == "/conformance:top/conformance:small"


@CHECKS.must("4.3", "the prefixes of an error's path are declared where it stands")
def _(bench):
    text = bench.session().ask(edit(top("<small>7</small>"))).text
    start = re.search(r"<error-path[^>]*>", text).group(0)
    assert f'xmlns:conformance="{MODEL}"' in start


@CHECKS.should("4.3", "an error's message tells its language")
def _(bench):
    message = error_of(bench).element.find(f"{{{BASE}}}error-message")
    assert message.get(f"{{{XML}}}lang") == "en"


@CHECKS.must("4.3", "a path has the keys of entries")
def _(bench):
    error = bench.session().ask(edit(top(row("a", "<number>x</number>")))).error
    assert error.path == "/conformance:top/conformance:row[conformance:name='a']/conformance:number"


@CHECKS.must("4.3", "a path has both keys of an entry that has two")
def _(bench):
    entry = f"<pair><a>x</a><b>1</b><value{op('delete')}/></pair>"
    error = bench.session().ask(edit(top(entry))).error
    assert error.path == ("/conformance:top/conformance:pair[conformance:a='x'][conformance:b='1']"
                          "/conformance:value")


@CHECKS.must("4.3", "a session goes on behind an error")
def _(bench):
    session = bench.session()
    for operation in ("<absent/>", get_config(source="absent"), edit(top("<absent/>"))):
        assert session.ask(operation).errors
        assert session.ask("<commit/>").is_ok


@CHECKS.must("4.3", "a refused request changes nothing")
def _(bench):
    session = bench.session()
    before = session.top()
    refused(session.ask(edit(top("<text>other</text><small>7</small>"))), "application",
            "invalid-value", {"bad-element": "small"}, "/conformance:top/conformance:small",
            "out-of-range")
    assert session.top() == before


def is_done(bench, operation):
    reply = bench.session().ask(operation)
    assert reply.is_ok, reply.text
    assert reply.root[0].text is None and not reply.root[0].attrib and len(reply.root[0]) == 0


CHECKS.each(
    "MUST", "4.4", is_done,
    ("edit-config without a fault is answered by ok alone", edit(top("<text>x</text>"))),
    ("copy-config without a fault is answered by ok alone", copy("candidate", "<running/>")),
    ("lock without a fault is answered by ok alone", on("lock")),
    ("commit without a fault is answered by ok alone", "<commit/>"),
    ("discard-changes without a fault is answered by ok alone", "<discard-changes/>"),
    ("validate without a fault is answered by ok alone",
     "<validate><source><running/></source></validate>"),
    ("close-session without a fault is answered by ok alone", "<close-session/>"),
)


@CHECKS.must("4.5", "requests are answered in the order in which they came")
def _(bench):
    session = bench.session()
    operations = [get_config(), "<absent/>", "<commit/>",
                  get_schema("<identifier>snmp</identifier>")]
    for number in range(40):
        session.send(f'<rpc xmlns="{BASE}" message-id="{number}">{operations[number % 4]}</rpc>')
    for number in range(40):
        assert f'message-id="{number}"' in session.receive()


@CHECKS.must("4.5", "requests are done in the order in which they came")
def _(bench):
    session = bench.session()
    for value in ("one", "two", "three"):
        session.send(RPC.format(edit(top(f"<text>{value}</text>"))))
        session.send(RPC.format(get_config(subtree(top("<text/>")))))
    for value in ("one", "two", "three"):
        assert "<ok/>" in session.receive()
        assert f"<text>{value}</text>" in session.receive()


@CHECKS.must("5.1", "the running datastore is there always")
def _(bench):
    assert bench.session().ask(get_config()).data is not None


# Hellos.

@CHECKS.must("8.1", "the server says hello without having been asked")
def _(bench):
    assert bench.session(versions=()).receive().startswith("<hello")


@CHECKS.must("8.1", "the server's hello is of the base namespace and has capabilities")
def _(bench):
    session = bench.session()
    assert session.hello.tag == f"{{{BASE}}}hello"
    assert [child.tag for child in session.hello] == [f"{{{BASE}}}capabilities",
                                                      f"{{{BASE}}}session-id"]


@CHECKS.must("8.1", "the server's hello tells a session's number above 0")
def _(bench):
    assert bench.session().number > 0


@CHECKS.must("8.1", "no two sessions have one number")
def _(bench):
    numbers = [bench.session().number for _ in range(5)]
    assert len(set(numbers)) == 5


def tells(bench, capability):
    assert bench.session().capabilities.count(capability) == 1


CAPABILITY = "urn:ietf:params:netconf:capability:"
CHECKS.each("MUST", "8.1", tells,
            ("base:1.1 is told", "urn:ietf:params:netconf:base:1.1"))
CHECKS.each("MAY", "8.1", tells,
            ("base:1.0 is told, too", "urn:ietf:params:netconf:base:1.0"))
CHECKS.each("MUST", "8.2.3", tells,
            ("writable-running is told", CAPABILITY + "writable-running:1.0"))
CHECKS.each("MUST", "8.3.3", tells, ("candidate is told", CAPABILITY + "candidate:1.0"))
CHECKS.each("MUST", "8.4.3", tells,
            ("confirmed-commit is told", CAPABILITY + "confirmed-commit:1.1"))
CHECKS.each("MAY", "8.4.3", tells,
            ("confirmed-commit of base:1.0 is told, too", CAPABILITY + "confirmed-commit:1.0"))
CHECKS.each("MUST", "8.7.3", tells, ("startup is told", CAPABILITY + "startup:1.0"))
CHECKS.each("MUST", "8.5.3", tells,
            ("rollback-on-error is told", CAPABILITY + "rollback-on-error:1.0"))
CHECKS.each("MUST", "8.6.3", tells, ("validate is told", CAPABILITY + "validate:1.1"))
CHECKS.each("MAY", "8.6.3", tells,
            ("validate of base:1.0 is told, too", CAPABILITY + "validate:1.0"))
CHECKS.each("MUST", "8.9.3", tells, ("xpath is told", CAPABILITY + "xpath:1.0"))


@CHECKS.must("8.8.3", "url is not told, as no operation takes one")
def _(bench):
    assert not [text for text in bench.session().capabilities if ":capability:url:" in text]


@CHECKS.must("8", "every capability is a URI, and none is told twice")
def _(bench):
    told = bench.session().capabilities
    assert len(set(told)) == len(told)
    assert all(re.fullmatch(r"(urn:|http)[^\s<>\"]+", text) for text in told), told


def ends_session(bench, message):
    session = bench.session(versions=())
    session.receive()
    session.send_bytes(message.encode() + b"]]>]]>")
    assert session.is_closed()


def with_capability(text, more="", ns=BASE):
    return (f'<hello xmlns="{ns}"><capabilities><capability>{text}</capability></capabilities>'
            f"{more}</hello>")


BASE_11 = "urn:ietf:params:netconf:base:1.1"
CHECKS.each(
    "MUST", "8.1", ends_session,
    ("a client's hello with a session-id ends the session",
     with_capability(BASE_11, "<session-id>4</session-id>")),
    ("a hello without a base capability ends the session", with_capability("urn:x")),
    ("a hello with another base version alone ends the session",
     with_capability("urn:ietf:params:netconf:base:2.0")),
    ("a hello of another namespace ends the session", with_capability(BASE_11, ns="urn:x")),
    ("a hello without capabilities ends the session", f'<hello xmlns="{BASE}"/>'),
    ("a request before the hello ends the session", COMMIT),
    ("a hello that is not well-formed ends the session", f'<hello xmlns="{BASE}">'),
    ("a base capability in another element ends the session",
     f'<hello xmlns="{BASE}"><capability>{BASE_11}</capability></hello>'),
)


def goes_on(bench, message, is_chunked=True):
    session = bench.session(versions=())
    session.receive()
    session.send_bytes(message.encode() + b"]]>]]>")
    session.is_chunked = is_chunked
    assert session.ask("<commit/>").is_ok


CHECKS.each(
    "MUST", "8.1", goes_on,
    ("a capability that is unknown is passed over",
     hello("1.1").replace("<capabilities>", "<capabilities><capability>urn:x</capability>")),
    ("blanks around a capability are nothing", with_capability(f"\n  {BASE_11}\n ")),
    ("a client of base:1.0 is served", hello("1.0"), False),
    ("the highest version of both is used", hello("1.0", "1.1"), True),
)
CHECKS.each(
    "MAY", "8.1", goes_on,
    ("a hello has a declaration, behind blanks", '\n<?xml version="1.0"?>' + hello("1.1")),
    ("a hello has prefixes", hello("1.1").replace("<", "<n:").replace("<n:/", "</n:").replace(
        "xmlns=", "xmlns:n=")),
)


@CHECKS.must("8.1", "the server does not wait for the client's hello before its own")
def _(bench):
    session = bench.session(versions=())
    session.send_bytes(hello("1.1").encode() + b"]]>]]>")
    assert session.receive().startswith("<hello")
    session.is_chunked = True
    assert session.ask("<commit/>").is_ok


@CHECKS.must("8.1", "a second hello is no request")
def _(bench):
    is_malformed(bench, hello("1.1"))


# What a client of base:1.0 gets to see.

@CHECKS.must("A", "malformed-message is not sent to clients of base:1.0")
def _(bench):
    refused(closed_behind(bench, COMMIT[:-2], ("1.0",)), "rpc", "operation-failed")


@CHECKS.must("A", "malformed-message is sent to clients of base:1.1")
def _(bench):
    refused(closed_behind(bench, COMMIT[:-2], ("1.1",)), "rpc", "malformed-message")


def old_client_is_served(bench, operation, expected):
    reply = bench.session(("1.0",)).ask(operation)
    assert expected in reply.text


CHECKS.each(
    "MUST", "8.1", old_client_is_served,
    ("a client of base:1.0 reads", get_config(subtree(top("<text/>"))), "<text>hello</text>"),
    ("a client of base:1.0 edits", edit(top("<text>x</text>")), "<ok/>"),
    ("a client of base:1.0 deletes", edit(top(f"<text{op('delete')}/>")), "<ok/>"),
    ("a client of base:1.0 gets errors that it knows", "<absent/>", "unknown-element"),
)


test_rfc6241_messages = CHECKS.test()
