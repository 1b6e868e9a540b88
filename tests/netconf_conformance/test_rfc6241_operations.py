"""RFC 6241, section 7: the operations of the base protocol."""

from lab.wait import wait_until
from netconf_conformance.bench import BASIS, SHAPE
from netconf_conformance.checks import Checks, refused
from netconf_conformance.session import (MONITORING, copy, edit, get_config, on, op, row, subtree,
                                         top)

CHECKS = Checks("6241")
TOP = "/conformance:top"


def is_refused(bench, operation, kind, tag, info=None, path=""):
    session = bench.session()
    before = session.top()
    refused(session.ask(operation), kind, tag, info, path)
    assert session.top() == before


# get-config, get

CHECKS.each(
    "MUST", "7.1", is_refused,
    ("get-config without a source is refused", "<get-config/>", "protocol", "missing-element",
     {"bad-element": "source"}),
    ("get-config with an empty source is refused", "<get-config><source/></get-config>",
     "protocol", "missing-element", {"bad-element": "source"}),
    ("get-config of a datastore that there is not is refused", get_config(source="absent"),
     "protocol", "unknown-element", {"bad-element": "absent"}),
    ("get-config of two sources is refused",
     "<get-config><source><running/><candidate/></source></get-config>", "protocol", "bad-element",
     {"bad-element": "candidate"}),
    ("get-config of a URL is refused without the capability",
     "<get-config><source><url>file:///a</url></source></get-config>", "protocol",
     "unknown-element", {"bad-element": "url"}),
)


@CHECKS.must("7.1", "get-config tells configuration and no state")
def _(bench):
    session = bench.session()
    assert session.top() == session.top("candidate") == SHAPE
    whole = session.ask(get_config())
    assert not whole.find_all("netconf-state") and not whole.find_all("snmp-state")


@CHECKS.must("7.7", "get tells configuration and state")
def _(bench):
    whole = bench.session().ask("<get/>")
    assert whole.find_all("netconf-state") and whole.find_all("top")


@CHECKS.must("7.7", "get tells running, not the candidate")
def _(bench):
    session = bench.session()
    session.done(edit(top("<text>other</text>"), "candidate"))
    assert session.ask(f"<get>{subtree(top('<text/>'))}</get>").shape == "top{text=hello}"


# edit-config

def leads_to(bench, content, expected, options=None):
    """What an edit makes of running, and of the candidate alike."""
    session = bench.session()
    for target in ("candidate", "running"):
        session.done(edit(content, target, **options or {}))
        assert session.top(target) == (f"top{{{expected}}}" if expected else "")
    session.done("<discard-changes/>")


LEAVES = "text=hello tag=s tag=t rank=x rank=y rank=z"
ROWS = "row{name=a number=1 note=first more{depth=7}} row{name=b number=2}"
STEPS = "step{id=1} step{id=2} step{id=3}"
REST = f"{LEAVES} {ROWS} {STEPS}"
OTHER = REST.replace("hello", "other")
WITHOUT_TEXT = REST.replace("text=hello ", "")
CHECKS.each(
    "MUST", "7.2", leads_to,
    ("merge is what is done by default", top("<text>other</text>"), OTHER),
    ("merge leaves what it does not name", top(row("a", "<number>9</number>"), op("merge")),
     REST.replace("number=1", "number=9")),
    ("merge makes what is not there", top(row("c")), f"{LEAVES} {ROWS} row{{name=c}} {STEPS}"),
    ("merge adds a value to a leaf-list", top("<tag>u</tag>"),
     REST.replace("tag=t", "tag=t tag=u")),
    ("replace leaves nothing of an entry that it does not name",
     top(row("a", "<number>9</number>", op("replace"))),
     f"{LEAVES} row{{name=b number=2}} row{{name=a number=9}} {STEPS}"),
    ("replace leaves nothing of a container that it does not name",
     top("<text>x</text>", op("replace")), "text=x"),
    ("replace makes what is not there", top(row("c", "", op("replace"))),
     f"{LEAVES} {ROWS} row{{name=c}} {STEPS}"),
    ("replace of a leaf gives it its value", top(f"<text{op('replace')}>other</text>"), OTHER),
    ("create makes what is not there", top(row("c", "<number>3</number>", op("create"))),
     f"{LEAVES} {ROWS} row{{name=c number=3}} {STEPS}"),
    ("delete of a leaf takes it away", top(f"<text{op('delete')}/>"), WITHOUT_TEXT),
    ("delete of a leaf need not tell its value", top(f"<text{op('delete')}>x</text>"),
     WITHOUT_TEXT),
    ("delete of an entry takes all of it away", top(row("a", "", op("delete"))),
     f"{LEAVES} row{{name=b number=2}} {STEPS}"),
    ("delete of a value takes it alone from a leaf-list", top(f"<tag{op('delete')}>s</tag>"),
     REST.replace("tag=s ", "")),
    ("delete of a container takes all of it away", top("", op("delete")), ""),
    ("remove takes away what is there", top(f"<text{op('remove')}/>"), WITHOUT_TEXT),
    ("remove of what is not there is no fault", top(row("z", "", op("remove"))), REST),
    ("remove of a leaf that is not there is no fault", top(f"<word{op('remove')}/>"), REST),
    ("an operation holds for what stands below", top(row("c", "<number>3</number>"), op("merge")),
     f"{LEAVES} {ROWS} row{{name=c number=3}} {STEPS}"),
    ("an operation below another one counts there",
     top(row("a", f"<note{op('delete')}/><number>4</number>"), op("merge")),
     REST.replace("number=1 note=first", "number=4")),
    ("operations of several elements are all done",
     top(row("a", "", op("delete")) + row("c", "", op("create")) + f"<text{op('remove')}/>"),
     f"tag=s tag=t rank=x rank=y rank=z row{{name=b number=2}} row{{name=c}} {STEPS}"),
    ("default-operation none leaves what has no operation of its own", top("<text>hello</text>"),
     REST, {"default_operation": "none"}),
    ("default-operation none does what has an operation of its own",
     top(row("a", f"<number{op('merge')}>8</number>")), REST.replace("number=1", "number=8"),
     {"default_operation": "none"}),
    ("default-operation merge is the same as none told", top("<text>other</text>"), OTHER,
     {"default_operation": "merge"}),
    ("default-operation replace leaves nothing else", top("<text>x</text>"), "text=x",
     {"default_operation": "replace"}),
    ("error-option stop-on-error is taken", top("<text>other</text>"), OTHER,
     {"error_option": "stop-on-error"}),
    ("test-option set is taken", top("<text>other</text>"), OTHER, {"test_option": "set"}),
    ("test-option test-then-set is taken", top("<text>other</text>"), OTHER,
     {"test_option": "test-then-set"}),
    ("an empty config changes nothing", "", REST),
)


def edit_is_refused(bench, content, kind, tag, info, path, options=None):
    session = bench.session()
    for target in ("candidate", "running"):
        refused(session.ask(edit(content, target, **options or {})), kind, tag, info, path)
        assert session.top(target) == SHAPE


CHECKS.each(
    "MUST", "7.2", edit_is_refused,
    ("create of a leaf that is there is data-exists", top(f"<text{op('create')}>x</text>"),
     "application", "data-exists", {}, f"{TOP}/conformance:text"),
    ("create of an entry that is there is data-exists", top(row("a", "", op("create"))),
     "application", "data-exists", {}, f"{TOP}/conformance:row[conformance:name='a']"),
    ("create of a container that is there is data-exists", top("<text>x</text>", op("create")),
     "application", "data-exists", {}, TOP),
    ("create of a value that a leaf-list has is data-exists", top(f"<tag{op('create')}>s</tag>"),
     "application", "data-exists", {}, f"{TOP}/conformance:tag[.='s']"),
    ("delete of a leaf that is not there is data-missing", top(f"<word{op('delete')}/>"),
     "application", "data-missing", {}, f"{TOP}/conformance:word"),
    ("delete of an entry that is not there is data-missing", top(row("z", "", op("delete"))),
     "application", "data-missing", {}, f"{TOP}/conformance:row[conformance:name='z']"),
    ("delete of a value that is not there is data-missing", top(f"<tag{op('delete')}>z</tag>"),
     "application", "data-missing", {}, f"{TOP}/conformance:tag[.='z']"),
    ("default-operation none of what is not there is data-missing",
     top(row("z", f"<number{op('merge')}>8</number>")), "application", "data-missing", {},
     f"{TOP}/conformance:row[conformance:name='z']", {"default_operation": "none"}),
    ("an unknown operation is refused", top('<text nc:operation="absent">x</text>'), "protocol",
     "bad-attribute", {"bad-attribute": "operation", "bad-element": "text"}, ""),
    ("an operation without a namespace is refused", top('<text operation="delete"/>'), "protocol",
     "unknown-attribute", {"bad-attribute": "operation", "bad-element": "text"}, ""),
    ("an operation of another namespace is refused",
     top('<text xmlns:o="urn:x" o:operation="delete"/>'), "protocol", "unknown-attribute",
     {"bad-attribute": "operation", "bad-element": "text"}, ""),
    ("an element of an unknown namespace is refused", '<top xmlns="urn:x"/>', "application",
     "unknown-namespace", {"bad-element": "top", "bad-namespace": "urn:x"}, ""),
    ("an element that no model has is refused", top("<absent/>"), "application", "unknown-element",
     {"bad-element": "absent"}, TOP),
    ("an entry without its key is refused", top("<row><number>1</number></row>"), "application",
     "missing-element", {"bad-element": "name"}, TOP),
    ("state is no configuration",
     f'<netconf-state xmlns="{MONITORING}"><sessions/></netconf-state>', "application",
     "unknown-element", {"bad-element": "netconf-state"}, "/ietf-netconf-monitoring:netconf-state"),
    ("a leaf twice is refused", top("<text>a</text><text>b</text>"), "application", "bad-element",
     {"bad-element": "text"}, f"{TOP}/conformance:text"),
    ("a leaf that is deleted and set is refused", top(f"<port{op('delete')}/><port>1</port>"),
     "application", "bad-element", {"bad-element": "port"}, f"{TOP}/conformance:port"),
    ("an element in a leaf of text is refused", top("<text><b/></text>"), "protocol",
     "unknown-element", {"bad-element": "b"}, f"{TOP}/conformance:text"),
    ("an element in a leaf of a number is refused", top("<port><b/></port>"), "application",
     "unknown-element", {"bad-element": "b"}, f"{TOP}/conformance:port"),
)
CHECKS.each(
    "MUST", "7.2", is_refused,
    ("an edit without a target is refused", "<edit-config><config/></edit-config>", "protocol",
     "missing-element", {"bad-element": "target"}),
    ("an edit without a config is refused",
     "<edit-config><target><running/></target></edit-config>", "protocol", "missing-element",
     {"bad-element": "config"}),
    ("an edit of a datastore that there is not is refused", edit("", "absent"), "protocol",
     "unknown-element", {"bad-element": "absent"}),
    ("an unknown default-operation is refused", edit("", default_operation="create"), "protocol",
     "invalid-value", {"bad-element": "default-operation"},
     "/ietf-netconf:edit-config/ietf-netconf:default-operation"),
    ("an unknown test-option is refused", edit("", test_option="absent"), "protocol",
     "invalid-value", {"bad-element": "test-option"},
     "/ietf-netconf:edit-config/ietf-netconf:test-option"),
    ("an unknown error-option is refused", edit("", error_option="absent"), "protocol",
     "invalid-value", {"bad-element": "error-option"},
     "/ietf-netconf:edit-config/ietf-netconf:error-option"),
    ("text as a config is refused", edit("text"), "protocol", "invalid-value",
     {"bad-element": "config"}),
    ("an edit by URL is refused without the capability",
     "<edit-config><target><running/></target><url>file:///a</url></edit-config>", "protocol",
     "unknown-element", {"bad-element": "url"}),
)


@CHECKS.must("7.2", "continue-on-error goes on behind an element that is refused")
def _(bench):
    session = bench.session()
    content = top(f"<word{op('delete')}/><text>other</text>")
    assert session.ask(edit(content, error_option="continue-on-error")).error.tag == "data-missing"
    assert "text=other" in session.top()


@CHECKS.must("7.2", "an edit of the candidate is tested where nothing else is told")
def _(bench):
    error = bench.session().ask(edit(top("<limited>9</limited>"), "candidate")).error
    assert error.app_tag == "must-violation"


@CHECKS.must("7.2", "stop-on-error is the default, and leaves nothing half done")
def _(bench):
    session = bench.session()
    session.ask(edit(top(f"<text>other</text><word{op('delete')}/>"))).error
    assert session.top() == SHAPE


# copy-config, delete-config

CHECKS.each(
    "MUST", "7.3", is_refused,
    ("source and target that are one are refused", copy("running", "<running/>"), "protocol",
     "invalid-value", {"bad-element": "source"}),
    ("the candidate to itself is refused", copy("candidate", "<candidate/>"), "protocol",
     "invalid-value", {"bad-element": "source"}),
    ("a copy without a source is refused",
     "<copy-config><target><running/></target></copy-config>", "protocol", "missing-element",
     {"bad-element": "source"}),
    ("a copy without a target is refused",
     "<copy-config><source><running/></source></copy-config>", "protocol", "missing-element",
     {"bad-element": "target"}),
    ("a copy of a datastore that there is not is refused", copy("running", "<absent/>"),
     "protocol", "unknown-element", {"bad-element": "absent"}),
    ("a copy that the models refuse is refused",
     copy("running", f"<config>{top('<absent/>')}</config>"), "application", "unknown-element",
     {"bad-element": "absent"}, TOP),
)


@CHECKS.must("7.3", "a copy replaces the whole target")
def _(bench):
    session = bench.session()
    session.done(copy("candidate", f"<config>{top('<text>x</text>')}</config>"))
    assert session.ask(get_config(source="candidate")).shape == "top{text=x}"


@CHECKS.must("7.3", "running is copied to the candidate")
def _(bench):
    session = bench.session()
    session.done(edit(top("", op("delete")), "candidate"))
    session.done(copy("candidate", "<running/>"))
    assert session.top("candidate") == SHAPE


@CHECKS.must("7.3", "the candidate is copied to running")
def _(bench):
    session = bench.session()
    session.done(edit(top("<text>other</text>"), "candidate"))
    session.done(copy("running", "<candidate/>"))
    assert "text=other" in session.top()


@CHECKS.must("7.3", "what get-config tells is taken back as it is")
def _(bench):
    session = bench.session()
    content = session.ask(get_config()).text
    content = content[content.index("<data>") + 6:content.index("</data>")]
    session.done(edit(top("<text>other</text>" + row("a", "", op("delete")))))
    session.done(copy("running", f"<config>{content}</config>"))
    assert session.top() == SHAPE


CHECKS.each(
    "MUST", "7.4", is_refused,
    ("running cannot be deleted", on("delete-config"), "protocol", "operation-not-supported"),
    ("what cannot be deleted is refused", on("delete-config", "candidate"), "protocol",
     "operation-not-supported"),
)


# lock, unlock

def of(session):
    return {"session-id": str(session.number)}


@CHECKS.must("7.5", "a lock of another session is lock-denied, with its number")
def _(bench):
    first, second = bench.session(), bench.session()
    for name in ("running", "candidate"):
        first.done(on("lock", name))
        refused(second.ask(on("lock", name)), "protocol", "lock-denied", of(first))


@CHECKS.must("7.5", "a lock that the session has already is denied")
def _(bench):
    session = bench.session()
    session.done(on("lock"))
    refused(session.ask(on("lock")), "protocol", "lock-denied", of(session))


def is_locked_out(bench, name, operation):
    first, second = bench.session(), bench.session()
    first.done(on("lock", name))
    refused(second.ask(operation), "protocol", "in-use", of(first))
    first.done(on("unlock", name))
    assert second.ask(operation).is_ok


CHECKS.each(
    "MUST", "7.5", is_locked_out,
    ("a lock of running keeps other sessions' edits out", "running", edit(top("<text>x</text>"))),
    ("a lock of running keeps other sessions' copies out", "running",
     copy("running", f"<config>{BASIS}</config>")),
    ("a lock of running keeps other sessions' commits out", "running", "<commit/>"),
    ("a lock of the candidate keeps other sessions' edits out", "candidate",
     edit(top("<text>x</text>"), "candidate")),
    ("a lock of the candidate keeps other sessions' copies out", "candidate",
     copy("candidate", "<running/>")),
    ("a lock of the candidate keeps other sessions' discards out", "candidate",
     "<discard-changes/>"),
    ("a lock of the candidate keeps other sessions' commits out", "candidate", "<commit/>"),
)


@CHECKS.must("7.5", "a lock does not keep others from reading")
def _(bench):
    first, second = bench.session(), bench.session()
    for name in ("running", "candidate"):
        first.done(on("lock", name))
        assert second.top(name) == SHAPE
    assert second.ask(f"<get>{subtree(top('<text/>'))}</get>").shape == "top{text=hello}"


@CHECKS.must("7.5", "a lock is for its datastore alone")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(on("lock"))
    second.done(on("lock", "candidate"))
    second.done(edit(top("<text>x</text>"), "candidate"))


@CHECKS.must("7.5", "who has the lock edits")
def _(bench):
    session = bench.session()
    session.done(on("lock"))
    session.done(edit(top("<text>x</text>")))


@CHECKS.must("7.5", "a lock ends with its session's connection")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(on("lock"))
    first.socket.close()
    wait_until(lambda: second.ask(on("lock")).is_ok, "the lock")


@CHECKS.must("7.5", "a candidate with changes that are not committed is not locked")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(edit(top("<text>x</text>"), "candidate"))
    refused(second.ask(on("lock", "candidate")), "protocol", "lock-denied", {"session-id": "0"})


CHECKS.each(
    "MUST", "7.5", is_refused,
    ("a lock without a target is refused", "<lock/>", "protocol", "missing-element",
     {"bad-element": "target"}),
    ("a lock of a datastore that there is not is refused", on("lock", "absent"), "protocol",
     "unknown-element", {"bad-element": "absent"}),
)
CHECKS.each(
    "MUST", "7.6", is_refused,
    ("unlock of what is not locked is refused", on("unlock"), "protocol", "operation-failed"),
    ("unlock without a target is refused", "<unlock/>", "protocol", "missing-element",
     {"bad-element": "target"}),
)


@CHECKS.must("7.6", "unlock of another session's lock is refused")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(on("lock"))
    refused(second.ask(on("unlock")), "protocol", "operation-failed")
    refused(second.ask(on("lock")), "protocol", "lock-denied", of(first))


@CHECKS.must("7.6", "what was unlocked can be locked by another session")
def _(bench):
    first, second = bench.session(), bench.session()
    for name in ("running", "candidate"):
        first.done(on("lock", name))
        first.done(on("unlock", name))
        second.done(on("lock", name))


# close-session, kill-session

@CHECKS.must("7.8", "close-session is answered, and then the connection is closed")
def _(bench):
    session = bench.session()
    session.done("<close-session/>")
    assert session.is_closed()


@CHECKS.must("7.8", "close-session gives the session's locks back")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(on("lock"))
    first.done("<close-session/>")
    assert first.is_closed()
    second.done(on("lock"))


@CHECKS.must("7.8", "requests behind close-session are passed over")
def _(bench):
    first, second = bench.session(), bench.session()
    first.send_bytes(b"".join(
        b"\n#%d\n%b\n##\n" % (len(message), message) for message in (
            f'<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">{operation}</rpc>'
            .encode() for operation in ("<close-session/>", edit(top("<text>late</text>"))))))
    assert "<ok/>" in first.receive()
    assert first.is_closed()
    assert second.top() == SHAPE


def kill(number):
    return f"<kill-session><session-id>{number}</session-id></kill-session>"


@CHECKS.must("7.9", "kill-session ends the other session and gives its locks back")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(on("lock"))
    second.done(kill(first.number))
    second.done(on("lock"))
    assert first.is_closed()


@CHECKS.must("7.9", "kill-session of the own session is invalid-value")
def _(bench):
    session = bench.session()
    refused(session.ask(kill(session.number)), "protocol", "invalid-value",
            {"bad-element": "session-id"})


CHECKS.each(
    "MUST", "7.9", is_refused,
    ("kill-session of a session that there is not is invalid-value", kill(4000000), "protocol",
     "invalid-value", {"bad-element": "session-id"}),
    ("kill-session without a number is refused", "<kill-session/>", "protocol", "missing-element",
     {"bad-element": "session-id"}),
    ("kill-session of 0 is invalid-value", kill(0), "protocol", "invalid-value",
     {"bad-element": "session-id"}, "/ietf-netconf:kill-session/ietf-netconf:session-id"),
    ("kill-session of what is no number is invalid-value", kill("x"), "protocol", "invalid-value",
     {"bad-element": "session-id"}, "/ietf-netconf:kill-session/ietf-netconf:session-id"),
)


test_rfc6241_operations = CHECKS.test()
