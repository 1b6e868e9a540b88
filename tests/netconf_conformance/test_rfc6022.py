"""RFC 6022: what the server tells of itself, and its models."""

import datetime
import re

from lab.netconf import BASE
from netconf_conformance.checks import Checks, refused
from netconf_conformance.session import (LIBRARY, MONITORING, edit, get_config, get_schema, on,
                                         shape, subtree, text_of, top, xpath)

CHECKS = Checks("6022")
IN_STATE = "{%s}" % MONITORING


def state(session, content):
    reply = session.state(f'<netconf-state xmlns="{MONITORING}">{content}</netconf-state>')
    return reply.data.find(f"{IN_STATE}netconf-state")


def time_of(text):
    return datetime.datetime.fromisoformat(text.replace("Z", "+00:00"))


def now():
    return datetime.datetime.now(datetime.timezone.utc)


@CHECKS.must("2.1.1", "the capabilities are those of the hello")
def _(bench):
    session = bench.session()
    told = [text_of(leaf) for leaf in state(session, "<capabilities/>").iter(
        f"{IN_STATE}capability")]
    assert told == session.capabilities


@CHECKS.must("2.1.2", "the datastores are those of the server, without locks")
def _(bench):
    names = shape(state(bench.session(), "<datastores/>"))
    assert names == ("netconf-state{datastores{datastore{name=running} datastore{name=candidate} "
                     "datastore{name=startup}}}")


def lock_of(bench, name):
    session = bench.session()
    begin = now().replace(microsecond=0)
    session.done(on("lock", name))
    found = state(bench.session(), f"<datastores><datastore><name>{name}</name></datastore>"
                  "</datastores>").find(f".//{IN_STATE}global-lock")
    assert found.findtext(f"{IN_STATE}locked-by-session") == str(session.number)
    assert begin <= time_of(found.findtext(f"{IN_STATE}locked-time")) <= now()


CHECKS.each("MUST", "2.1.2", lock_of,
            ("a lock of running is told with session and time", "running"),
            ("a lock of the candidate is told with session and time", "candidate"))


@CHECKS.must("2.1.2", "a lock that was given back is not told")
def _(bench):
    session = bench.session()
    session.done(on("lock"))
    session.done(on("unlock"))
    assert state(session, "<datastores/>").find(f".//{IN_STATE}locks") is None


def schemas(session):
    return [{child.tag.replace(IN_STATE, ""): text_of(child) for child in entry}
            for entry in state(session, "<schemas/>").iter(f"{IN_STATE}schema")]


@CHECKS.must("2.1.3", "each schema has identifier, version, format, namespace and location")
def _(bench):
    for schema in schemas(bench.session()):
        assert list(schema) == ["identifier", "version", "format", "namespace", "location"]
        assert schema["identifier"] and schema["namespace"]


@CHECKS.must("2.1.3", "no schema is told twice")
def _(bench):
    keys = [(schema["identifier"], schema["version"], schema["format"])
            for schema in schemas(bench.session())]
    assert len(set(keys)) == len(keys) > 10


@CHECKS.must("2.1.3", "the format of each schema is YANG, of the model's namespace")
def _(bench):
    text = bench.session().state(
        f'<netconf-state xmlns="{MONITORING}"><schemas/></netconf-state>').text
    prefix = re.search(rf'<format xmlns:(\w+)="{MONITORING}">', text).group(1)
    assert set(re.findall(r"<format[^>]*>([^<]*)<", text)) == {f"{prefix}:yang"}


@CHECKS.should("2.1.3", "each schema is to be had by NETCONF")
def _(bench):
    session = bench.session()
    for schema in schemas(session):
        assert schema["location"] == "NETCONF"
        version = schema["version"] and f"<version>{schema['version']}</version>"
        reply = session.ask(get_schema(
            f"<identifier>{schema['identifier']}</identifier>{version}"))
        assert re.search(rf"(sub)?module {re.escape(schema['identifier'])} ", reply.text), schema


@CHECKS.must("2.1.3", "every model of the hello is a schema")
def _(bench):
    session = bench.session()
    told = {(schema["identifier"], schema["namespace"]) for schema in schemas(session)}
    for capability in session.capabilities:
        found = re.match(r"(.*)\?module=([^&]*)", capability)
        if found:
            assert (found.group(2), found.group(1)) in told, capability


def entry_of(session, number):
    found = state(session, f"<sessions><session><session-id>{number}</session-id></session>"
                  "</sessions>")
    return {child.tag.replace(IN_STATE, ""): text_of(child)
            for child in found.find(f".//{IN_STATE}session")}


@CHECKS.must("2.1.4", "every session is told, with its number")
def _(bench):
    numbers = {bench.session().number for _ in range(3)}
    session = bench.session()
    told = {int(text_of(leaf)) for leaf in state(session, "<sessions/>").iter(
        f"{IN_STATE}session-id")}
    assert numbers | {session.number} <= told


@CHECKS.must("2.1.4", "a session's transport is an identity of the model")
def _(bench):
    session = bench.session()
    assert entry_of(session, session.number)["transport"].endswith(":netconf-ssh")


@CHECKS.must("2.1.4", "a session has the name of its user")
def _(bench):
    session = bench.session()
    assert entry_of(session, session.number)["username"] == "root"


@CHECKS.must("2.1.4", "a session has the time when it began")
def _(bench):
    begin = now().replace(microsecond=0)
    session = bench.session()
    assert begin <= time_of(entry_of(session, session.number)["login-time"]) <= now()


@CHECKS.must("2.1.4", "a session that has ended is not told")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done("<close-session/>")
    assert first.is_closed()
    assert str(first.number) not in [text_of(leaf) for leaf in state(second, "<sessions/>").iter(
        f"{IN_STATE}session-id")]


COUNTERS = ("in-rpcs", "in-bad-rpcs", "out-rpc-errors", "out-notifications")


def counts_of(session, number=None):
    entry = entry_of(session, number or session.number)
    return [int(entry[name]) for name in COUNTERS]


def counts(bench, operations, expected):
    """What a session's counters are when it has asked these, and this itself."""
    session = bench.session()
    for operation in operations:
        session.ask(operation)
    assert counts_of(session) == expected


CHECKS.each(
    "MUST", "2.1.4", counts,
    ("a request that asks for the counters is counted itself", [], [1, 0, 0, 0]),
    ("requests are counted", ["<commit/>", get_config()], [3, 0, 0, 0]),
    ("requests that are refused are counted as these and as errors",
     ["<absent/>", edit(top("<absent/>")), "<commit/>"], [4, 0, 2, 0]),
)


@CHECKS.must("2.1.4", "a message that is no correct rpc is counted as such")
def _(bench):
    session = bench.session()
    session.ask("<commit/>", "")
    assert counts_of(session) == [1, 1, 1, 0]


@CHECKS.must("2.1.4", "counters are those of the session alone")
def _(bench):
    first, second = bench.session(), bench.session()
    first.ask("<absent/>")
    assert counts_of(second) == [1, 0, 0, 0]
    assert counts_of(second, first.number) == [1, 0, 1, 0]


def totals(session):
    found = state(session, "<statistics/>").find(f"{IN_STATE}statistics")
    return {child.tag.replace(IN_STATE, ""): text_of(child) for child in found}


@CHECKS.must("2.1.5", "the statistics have all that the model has")
def _(bench):
    assert list(totals(bench.session())) == ["netconf-start-time", "in-bad-hellos", "in-sessions",
                                             "dropped-sessions", *COUNTERS]


@CHECKS.must("2.1.5", "the start's time is before all sessions, and does not change")
def _(bench):
    first = totals(bench.session())["netconf-start-time"]
    session = bench.session()
    assert time_of(first) <= time_of(entry_of(session, session.number)["login-time"])
    assert totals(session)["netconf-start-time"] == first


def grows(bench, name, number, deed):
    session = bench.session()
    before = int(totals(session)[name])
    deed(bench)
    assert int(totals(session)[name]) == before + number


def open_two(bench):
    bench.session()
    bench.session()


def end_badly(bench):
    session = bench.session()
    session.raw("<rpc")
    assert session.is_closed()


def end_well(bench):
    session = bench.session()
    session.done("<close-session/>")
    assert session.is_closed()


def be_killed(bench):
    session = bench.session()
    bench.session().done(f"<kill-session><session-id>{session.number}</session-id></kill-session>")
    assert session.is_closed()


def say_no_hello(bench):
    session = bench.session(versions=())
    session.receive()
    session.send_bytes(b"<hello/>]]>]]>")
    assert session.is_closed()


def break_framing(bench):
    session = bench.session()
    session.send_bytes(b"\n#0\n")
    assert session.is_closed()


def ask_wrongly(bench):
    session = bench.session()
    session.ask("<commit/>", "")
    session.ask("<absent/>")


CHECKS.each(
    "MUST", "2.1.5", grows,
    ("sessions are counted", "in-sessions", 2, open_two),
    ("a hello that is none is counted", "in-bad-hellos", 1, say_no_hello),
    ("a hello that is one is not counted as none", "in-bad-hellos", 0, open_two),
    ("a session that ends by a fault of its framing is counted as dropped", "dropped-sessions", 1,
     break_framing),
    ("a session that is closed as asked is not counted as dropped", "dropped-sessions", 0,
     end_well),
    ("a session that is killed is not counted as dropped", "dropped-sessions", 0, be_killed),
    ("messages that are no correct rpc are summed up", "in-bad-rpcs", 1, ask_wrongly),
    ("a message that is not well-formed is one of these", "in-bad-rpcs", 1, end_badly),
    ("errors are summed up", "out-rpc-errors", 2, ask_wrongly),
    # One that is refused, and that which asks for the sum.
    ("requests are summed up", "in-rpcs", 2, ask_wrongly),
)


# get-schema

SNMP = "<identifier>snmp</identifier>"


@CHECKS.must("3.1", "a model is told in a data element of the model's namespace")
def _(bench):
    reply = bench.session().ask(get_schema(SNMP))
    assert [child.tag for child in reply.root] == [f"{IN_STATE}data"]
    text = reply.root[0].text.lstrip()
    assert text.startswith("module snmp {") and text.rstrip().endswith("}")


def schema_is_told(bench, content, begin):
    assert bench.session().ask(get_schema(content)).root[0].text.lstrip().startswith(begin)


CHECKS.each(
    "MUST", "3.1", schema_is_told,
    ("a version is found", SNMP + "<version>2026-11-21</version>", "module snmp {"),
    ("the format yang is found", SNMP + "<format>yang</format>", "module snmp {"),
    ("the format may have the prefix of the model",
     SNMP + f'<format xmlns:m="{MONITORING}">m:yang</format>', "module snmp {"),
    ("models of the IETF are told", "<identifier>ietf-netconf</identifier>",
     "module ietf-netconf {"),
    ("models that are only imported are told", "<identifier>ietf-inet-types</identifier>",
     "module ietf-inet-types {"),
    ("the model of the state is told", "<identifier>snmp-app-state</identifier>",
     "module snmp-app-state {"),
)


def schema_is_refused(bench, content, tag, info, path=""):
    session = bench.session()
    refused(session.ask(get_schema(content)), "protocol", tag, info, path)
    assert session.ask("<commit/>").is_ok


CHECKS.each(
    "MUST", "3.1", schema_is_refused,
    ("a model that there is not is invalid-value", "<identifier>absent</identifier>",
     "invalid-value", {"bad-element": "identifier"}),
    ("a version that there is not is invalid-value", SNMP + "<version>2000-01-01</version>",
     "invalid-value", {"bad-element": "version"}),
    ("an empty version is none of a model that has one", SNMP + "<version/>",
     "invalid-value", {"bad-element": "version"}),
    ("the format yin is invalid-value", SNMP + "<format>yin</format>", "invalid-value",
     {"bad-element": "format"}),
    ("the format xsd is invalid-value", SNMP + "<format>xsd</format>", "invalid-value",
     {"bad-element": "format"}),
    ("a format that there is not is invalid-value", SNMP + "<format>pdf</format>",
     "invalid-value", {"bad-element": "format"},
     "/ietf-netconf-monitoring:get-schema/ietf-netconf-monitoring:format"),
    ("a model without its identifier is refused", "", "missing-element",
     {"bad-element": "identifier"}),
    ("a parameter that there is not is refused", SNMP + "<absent/>", "unknown-element",
     {"bad-element": "absent"}),
)


@CHECKS.must("4.1", "the state is read by subtree filters and by XPath alike")
def _(bench):
    session = bench.session()
    select = xpath("/m:netconf-state/m:datastores").replace("xmlns:cf=",
                                                            f'xmlns:m="{MONITORING}" xmlns:cf=')
    assert session.ask(f"<get>{select}</get>").shape == shape(state(session, "<datastores/>"))


@CHECKS.must("5", "the state is not to be edited")
def _(bench):
    content = f'<netconf-state xmlns="{MONITORING}"><statistics/></netconf-state>'
    refused(bench.session().ask(edit(content)), "application", "unknown-element",
            {"bad-element": "netconf-state"}, "/ietf-netconf-monitoring:netconf-state")


@CHECKS.must("2.1", "the state is not a part of any configuration")
def _(bench):
    session = bench.session()
    for source in ("running", "candidate"):
        for ns in (MONITORING, LIBRARY):
            reply = session.ask(get_config(subtree(f'<x xmlns="{ns}"/>'), source))
            assert reply.shape == "" and reply.data.tag == f"{{{BASE}}}data"


test_rfc6022 = CHECKS.test()
