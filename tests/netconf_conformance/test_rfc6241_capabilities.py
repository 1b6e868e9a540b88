"""RFC 6241, section 8: candidate, confirmed commits, rollback on error, validation."""

from lab.wait import wait_until
from netconf_conformance.bench import SHAPE
from netconf_conformance.checks import Checks, refused
from netconf_conformance.session import MODEL, copy, edit, get_config, on, op, row, subtree, top

CHECKS = Checks("6241")
LIMITED = top("<limited>9</limited>")
LIMITED_PATH = "/conformance:top/conformance:limited"


def other(target="candidate"):
    return edit(top("<text>other</text>"), target)


def has_other(session, source="running"):
    return "text=other" in session.top(source)


@CHECKS.must("8.2", "running is a target of edits and copies")
def _(bench):
    session = bench.session()
    session.done(other("running"))
    assert has_other(session)
    session.done(copy("running", f"<config>{top('<text>x</text>')}</config>"))
    assert session.top() == "top{text=x}"


# Candidate

@CHECKS.must("8.3.1", "an edit of the candidate does not change running")
def _(bench):
    session = bench.session()
    session.done(other())
    assert has_other(session, "candidate") and session.top() == SHAPE


@CHECKS.must("8.3.1", "the candidate is shared by all sessions")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(other())
    assert has_other(second, "candidate")


@CHECKS.must("8.3.4.1", "commit makes the candidate running")
def _(bench):
    session = bench.session()
    session.done(other())
    session.done("<commit/>")
    assert has_other(session) and has_other(session, "candidate")


@CHECKS.must("8.3.4.1", "a commit that is refused leaves running and candidate as they were")
def _(bench):
    session = bench.session()
    session.done(edit(LIMITED, "candidate", test_option="set"))
    refused(session.ask("<commit/>"), "application", "operation-failed", {}, LIMITED_PATH,
            "must-violation")
    assert session.top() == SHAPE
    assert "limited=9" in session.top("candidate")


@CHECKS.must("8.3.4.1", "a commit of another session's changes is a commit")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(other())
    second.done("<commit/>")
    assert has_other(first)


@CHECKS.must("8.3.4.1", "a commit of no changes is none, and no fault")
def _(bench):
    session = bench.session()
    session.done("<commit/>")
    assert session.top() == SHAPE


@CHECKS.must("8.3.4.2", "discard-changes makes the candidate what running is")
def _(bench):
    session = bench.session()
    session.done(other())
    session.done("<discard-changes/>")
    assert session.top("candidate") == SHAPE


@CHECKS.must("8.3.4.2", "a discarded candidate is not committed")
def _(bench):
    session = bench.session()
    session.done(other())
    session.done("<discard-changes/>")
    session.done("<commit/>")
    assert session.top() == SHAPE


@CHECKS.must("8.3.5.2", "the candidate's changes go with its lock")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(on("lock", "candidate"))
    first.done(other())
    first.done(on("unlock", "candidate"))
    assert second.top("candidate") == SHAPE


@CHECKS.must("8.3.5.2", "the candidate's changes go with the session that had its lock")
def _(bench):
    first, second = bench.session(), bench.session()
    first.done(on("lock", "candidate"))
    first.done(other())
    first.socket.close()
    wait_until(lambda: second.ask(on("lock", "candidate")).is_ok, "the lock")
    assert second.top("candidate") == SHAPE


@CHECKS.must("8.3.5.1", "the candidate is a source and a target where datastores are named")
def _(bench):
    session = bench.session()
    assert session.ask(get_config(source="candidate")).data is not None
    for operation in (on("lock", "candidate"), on("unlock", "candidate"), other(),
                      copy("candidate", "<running/>"),
                      "<validate><source><candidate/></source></validate>"):
        session.done(operation)


# Confirmed commits

def confirmed(more=""):
    return f"<commit><confirmed/>{more}</commit>"


def begin(bench, more=""):
    session = bench.session()
    session.done(other())
    session.done(confirmed(more))
    assert has_other(session)
    return session


def persist_id(name):
    return f"<persist-id>{name}</persist-id>"


PERSIST = "<persist>mine</persist>"


@CHECKS.must("8.4.1", "a confirmed commit that is confirmed stays")
def _(bench):
    session = begin(bench, "<confirm-timeout>1</confirm-timeout>")
    session.done("<commit/>")
    refused(session.ask("<cancel-commit/>"), "protocol", "operation-failed")
    assert has_other(session)


@CHECKS.must("8.4.1", "a confirmed commit that is not confirmed in time is taken back")
def _(bench):
    session = begin(bench, "<confirm-timeout>1</confirm-timeout>")
    wait_until(lambda: session.top() == SHAPE, "what was running before")


@CHECKS.must("8.4.1", "a confirmed commit is taken back when its session ends")
def _(bench):
    begin(bench).socket.close()
    session = bench.session()
    wait_until(lambda: session.top() == SHAPE, "what was running before")


@CHECKS.must("8.4.1", "a confirmed commit is taken back when its session is closed as asked")
def _(bench):
    begin(bench).done("<close-session/>")
    session = bench.session()
    wait_until(lambda: session.top() == SHAPE, "what was running before")


@CHECKS.must("8.4.1", "a further confirmed commit puts the end off")
def _(bench):
    session = begin(bench, "<confirm-timeout>1</confirm-timeout>")
    session.done(confirmed("<confirm-timeout>600</confirm-timeout>"))
    session.done(edit(top("<text>third</text>"), "candidate"))
    session.done(confirmed("<confirm-timeout>600</confirm-timeout>"))
    session.done("<cancel-commit/>")
    assert session.top() == SHAPE


@CHECKS.must("8.4.4.1", "cancel-commit takes a confirmed commit back")
def _(bench):
    session = begin(bench)
    session.done("<cancel-commit/>")
    assert session.top() == SHAPE


@CHECKS.must("8.4.4.1", "cancel-commit without a confirmed commit is refused")
def _(bench):
    refused(bench.session().ask("<cancel-commit/>"), "protocol", "operation-failed")


@CHECKS.must("8.4.5.1", "another session does not confirm a commit without a persist-id")
def _(bench):
    session = begin(bench)
    refused(bench.session().ask("<commit/>"), "protocol", "invalid-value",
            {"bad-element": "persist-id"})
    session.done("<cancel-commit/>")


@CHECKS.must("8.4.4.1", "another session does not cancel a commit without a persist-id")
def _(bench):
    session = begin(bench)
    refused(bench.session().ask("<cancel-commit/>"), "protocol", "invalid-value",
            {"bad-element": "persist-id"})
    session.done("<cancel-commit/>")


@CHECKS.must("8.4.5.1", "a commit with persist outlives its session")
def _(bench):
    begin(bench, PERSIST).done("<close-session/>")
    session = bench.session()
    assert has_other(session)
    session.done(f"<cancel-commit>{persist_id('mine')}</cancel-commit>")
    assert session.top() == SHAPE


@CHECKS.must("8.4.5.1", "any session confirms a commit by its persist-id")
def _(bench):
    begin(bench, PERSIST)
    session = bench.session()
    session.done(f"<commit>{persist_id('mine')}</commit>")
    refused(session.ask(f"<cancel-commit>{persist_id('mine')}</cancel-commit>"), "protocol",
            "operation-failed")
    assert has_other(session)


@CHECKS.must("8.4.5.1", "a wrong persist-id is invalid-value")
def _(bench):
    session = begin(bench, PERSIST)
    for operation in ("commit", "cancel-commit"):
        refused(session.ask(f"<{operation}>{persist_id('other')}</{operation}>"), "protocol",
                "invalid-value", {"bad-element": "persist-id"})
    session.done(f"<cancel-commit>{persist_id('mine')}</cancel-commit>")


@CHECKS.must("8.4.5.1", "a persist-id without a commit that waits is invalid-value")
def _(bench):
    refused(bench.session().ask(f"<commit>{persist_id('mine')}</commit>"), "protocol",
            "invalid-value", {"bad-element": "persist-id"})


@CHECKS.must("8.4.5.1", "a time of 0 is invalid-value")
def _(bench):
    refused(bench.session().ask(confirmed("<confirm-timeout>0</confirm-timeout>")), "protocol",
            "invalid-value", {"bad-element": "confirm-timeout"},
            "/ietf-netconf:commit/ietf-netconf:confirm-timeout")


@CHECKS.must("7.5", "running is not locked while another session's commit waits to be confirmed")
def _(bench):
    session = begin(bench)
    refused(bench.session().ask(on("lock")), "protocol", "lock-denied",
            {"session-id": str(session.number)})
    session.done("<cancel-commit/>")


# Rollback on error

@CHECKS.must("8.5.1", "an edit with rollback-on-error that fails leaves what was there")
def _(bench):
    session = bench.session()
    for target in ("candidate", "running"):
        content = top(f"<text>other</text>{row('c')}<word{op('delete')}/>")
        refused(session.ask(edit(content, target, error_option="rollback-on-error")),
                "application", "data-missing", {}, "/conformance:top/conformance:word")
        assert session.top(target) == SHAPE


@CHECKS.must("8.5.1", "rollback-on-error holds for what the models refuse as a whole")
def _(bench):
    session = bench.session()
    content = top("<text>other</text><limited>9</limited>")
    refused(session.ask(edit(content, error_option="rollback-on-error")), "application",
            "operation-failed", {}, LIMITED_PATH, "must-violation")
    assert session.top() == SHAPE


@CHECKS.must("8.5.1", "an edit with rollback-on-error that does not fail is done")
def _(bench):
    session = bench.session()
    session.done(edit(top("<text>other</text>"), error_option="rollback-on-error"))
    assert has_other(session)


# Validation

def validate(source):
    return f"<validate><source>{source}</source></validate>"


@CHECKS.must("8.6.4.1", "validate refuses a candidate as its commit would")
def _(bench):
    session = bench.session()
    session.done(edit(LIMITED, "candidate", test_option="set"))
    refused(session.ask(validate("<candidate/>")), "application", "operation-failed", {},
            LIMITED_PATH, "must-violation")
    assert session.ask(validate("<running/>")).is_ok


@CHECKS.must("8.6.4.1", "validate of a configuration in the request changes nothing")
def _(bench):
    session = bench.session()
    session.done(validate(f"<config>{top('<text>x</text>')}</config>"))
    assert session.top() == session.top("candidate") == SHAPE


def is_invalid(bench, content, tag, info, path, app_tag=""):
    refused(bench.session().ask(validate(f"<config>{content}</config>")), "application", tag, info,
            path, app_tag)


CHECKS.each(
    "MUST", "8.6.4.1", is_invalid,
    ("validate refuses what breaks a must", LIMITED, "operation-failed", {}, LIMITED_PATH,
     "must-violation"),
    ("validate refuses what no model has", top("<absent/>"), "unknown-element",
     {"bad-element": "absent"}, "/conformance:top"),
    ("validate refuses a value that its type does not take", top("<port>x</port>"),
     "invalid-value", {"bad-element": "port"}, "/conformance:top/conformance:port"),
    ("validate refuses a reference to nothing", top("<reference>z</reference>"), "data-missing",
     {}, "/conformance:top/conformance:reference", "instance-required"),
)


@CHECKS.must("8.6.5.1", "test-then-set refuses what a commit would, and sets nothing")
def _(bench):
    session = bench.session()
    for target in ("candidate", "running"):
        refused(session.ask(edit(LIMITED, target, test_option="test-then-set")), "application",
                "operation-failed", {}, LIMITED_PATH, "must-violation")
        assert session.top(target) == SHAPE


@CHECKS.must("8.6.5.1", "test-only tests and sets nothing")
def _(bench):
    session = bench.session()
    for target in ("candidate", "running"):
        session.done(edit(top("<text>x</text>"), target, test_option="test-only"))
        refused(session.ask(edit(LIMITED, target, test_option="test-only")), "application",
                "operation-failed", {}, LIMITED_PATH, "must-violation")
        assert session.top(target) == SHAPE


@CHECKS.must("8.6.5.1", "set puts into the candidate what is not tested")
def _(bench):
    session = bench.session()
    session.done(edit(LIMITED, "candidate", test_option="set"))
    assert "limited=9" in session.top("candidate")


@CHECKS.must("8.8.5", "a URL is no source and no target without the capability")
def _(bench):
    session = bench.session()
    url = "<url>file:///tmp/a</url>"
    source = "<source><running/></source>"
    for operation in (f"<copy-config><target>{url}</target>{source}</copy-config>",
                      copy("running", url), validate(url),
                      f"<delete-config><target>{url}</target></delete-config>"):
        assert session.ask(operation).error.tag in ("unknown-element", "operation-not-supported")


@CHECKS.must("8.9.5", "the filter of XPath is for the candidate, too")
def _(bench):
    session = bench.session()
    session.done(other())
    filters = f'<filter type="xpath" xmlns:c="{MODEL}" select="/c:top/c:text"/>'
    assert session.ask(get_config(filters, "candidate")).shape == "top{text=other}"
    assert session.ask(get_config(subtree(top("<text/>")))).shape == "top{text=hello}"


# Start-up

@CHECKS.must("8.7.1", "a change of running does not change the start-up datastore")
def _(bench):
    session = bench.session()
    session.done(copy("startup", "<running/>"))
    session.done(other("running"))
    assert has_other(session) and not has_other(session, "startup")


@CHECKS.must("8.7.5.1", "copy-config from running to startup keeps what is running")
def _(bench):
    session = bench.session()
    session.done(other("running"))
    session.done(copy("startup", "<running/>"))
    assert session.top("startup") == session.top()


@CHECKS.must("8.7.5.1", "copy-config from startup to running takes back what was kept")
def _(bench):
    session = bench.session()
    session.done(copy("startup", "<running/>"))
    session.done(other("running"))
    session.done(copy("running", "<startup/>"))
    assert session.top() == SHAPE


@CHECKS.must("7.4", "delete-config empties the start-up datastore")
def _(bench):
    session = bench.session()
    session.done(copy("startup", "<running/>"))
    session.done("<delete-config><target><startup/></target></delete-config>")
    assert session.ask(get_config(source="startup")).shape == ""


test_rfc6241_capabilities = CHECKS.test()
