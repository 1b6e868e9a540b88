"""RFC 6243: values that the models give, in what is read and in edits."""

import re

from netconf_conformance.bench import SHAPE
from netconf_conformance.checks import Checks, refused
from netconf_conformance.session import (DEFAULT, MODEL, copy, edit, get_config, op, row, shape,
                                         subtree, top, with_defaults, xpath)

CHECKS = Checks("6243")
PORT = "/conformance:top/conformance:port"

# A leaf that is set to its default, one that is set to another value, one that is not set.
PREPARED = top("<port>161</port><feature/>" + row("c", "<note>none</note>"))


def capability(bench):
    found = [text for text in bench.session().capabilities if ":with-defaults:" in text]
    assert len(found) == 1
    return found[0]


@CHECKS.must("4.3", "the capability is told once, by its URI")
def _(bench):
    assert capability(bench).startswith(
        "urn:ietf:params:netconf:capability:with-defaults:1.0?")


@CHECKS.must("4.3", "the capability tells the basic mode")
def _(bench):
    assert re.search(r"[?&]basic-mode=explicit(&|$)", capability(bench))


@CHECKS.must("4.3", "the capability tells the other modes, each once and without the basic one")
def _(bench):
    modes = re.search(r"[?&]also-supported=([^&]*)", capability(bench)).group(1).split(",")
    assert sorted(modes) == ["report-all", "report-all-tagged", "trim"]


def prepared(bench):
    session = bench.session()
    session.done(edit(PREPARED))
    return session


def ask(session, filters, mode, operation="get-config"):
    more = with_defaults(mode) if mode else ""
    if operation == "get":
        return session.ask(f"<get>{filters}{more}</get>")
    return session.ask(get_config(filters, more=more))


def tells(bench, mode, content, expected):
    session = prepared(bench)
    for operation in ("get-config", "get"):
        assert ask(session, subtree(top(content)), mode, operation).shape == expected


CHECKS.each(
    "MUST", "2.3.1", tells,
    ("without a mode, a leaf that is set to its default is told", None, "<port/>", "top{port=161}"),
    ("without a mode, a leaf that nobody set is not told", None, "<flag/>", ""),
    ("without a mode, leaves of entries are told when they are set", None, "<row><note/></row>",
     "top{row{name=a note=first} row{name=c note=none}}"),
    ("without a mode, a presence container is told without its defaults", None, "<feature/>",
     "top{feature}"),
)
CHECKS.each(
    "MUST", "3.1", tells,
    ("report-all tells a leaf that is set to its default", "report-all", "<port/>",
     "top{port=161}"),
    ("report-all tells a leaf that nobody set", "report-all", "<flag/>", "top{flag=false}"),
    ("report-all tells leaves of entries", "report-all", "<row><note/></row>",
     "top{row{name=a note=first} row{name=b note=none} row{name=c note=none}}"),
    ("report-all tells what stands in a presence container", "report-all", "<feature/>",
     "top{feature{level=3}}"),
    ("report-all tells nothing of a leaf without a default", "report-all", "<word/>", ""),
)
CHECKS.each(
    "MUST", "3.2", tells,
    ("trim does not tell a leaf that is set to its default", "trim", "<port/>", ""),
    ("trim does not tell a leaf that nobody set", "trim", "<flag/>", ""),
    ("trim tells a leaf with another value", "trim", "<row><note/></row>",
     "top{row{name=a note=first}}"),
    ("trim tells a presence container", "trim", "<feature/>", "top{feature}"),
)
CHECKS.each(
    "MUST", "3.3", tells,
    ("explicit tells a leaf that is set to its default", "explicit", "<port/>", "top{port=161}"),
    ("explicit does not tell a leaf that nobody set", "explicit", "<flag/>", ""),
    ("explicit tells leaves of entries when they are set", "explicit", "<row><note/></row>",
     "top{row{name=a note=first} row{name=c note=none}}"),
)
CHECKS.each(
    "MUST", "3.4", tells,
    ("report-all-tagged tells what report-all does", "report-all-tagged", "<row><note/></row>",
     "top{row{name=a note=first} row{name=b note=none} row{name=c note=none}}"),
    ("report-all-tagged tells a leaf that nobody set", "report-all-tagged", "<flag/>",
     "top{flag=false}"),
)


def tags(bench, content, expected, filters=None):
    """The attributes of the leaves by name and value."""
    reply = ask(prepared(bench), filters or subtree(top(content)), "report-all-tagged")
    found = {shape(element): dict(element.attrib) for element in reply.data.iter()
             if not list(element)}
    for leaf, attributes in expected.items():
        assert found[leaf] == attributes, reply.text


TAGGED = {f"{{{DEFAULT}}}default": "true"}
CHECKS.each(
    "MUST", "3.4", tags,
    ("a leaf that nobody set has the attribute", "<flag/>", {"flag=false": TAGGED}),
    ("a leaf that is set to its default does not have it", "<port/>", {"port=161": {}}),
    ("a leaf with another value does not have it", "<row><note/></row>", {"note=first": {}}),
    ("keys do not have it", "<row/>", {"name=a": {}, "name=b": {}}),
    ("a leaf of a presence container has it", "<feature/>", {"level=3": TAGGED}),
    ("a leaf that an XPath filter selects has it", "", {"flag=false": TAGGED},
     xpath("/cf:top/cf:flag")),
)


@CHECKS.must("6", "the attribute is of the namespace of its own")
def _(bench):
    text = ask(prepared(bench), subtree(top("<flag/>")), "report-all-tagged").text
    prefix = re.search(rf'xmlns:(\w+)="{DEFAULT}"', text).group(1)
    assert f'<flag {prefix}:default="true">false</flag>' in re.sub(
        rf' xmlns:{prefix}="{DEFAULT}"', "", text)


@CHECKS.must("3.4", "no other mode has the attribute")
def _(bench):
    session = prepared(bench)
    for mode in (None, "report-all", "trim", "explicit"):
        assert DEFAULT not in ask(session, subtree(top("")), mode).text


# The mode comes before the filter.

def filters_behind(bench, mode, content, expected):
    assert ask(prepared(bench), subtree(top(content)), mode).shape == expected


CHECKS.each(
    "MUST", "4.5.1", filters_behind,
    ("a filter of a default is not met where none are told", None,
     "<flag>false</flag><port/>", ""),
    ("a filter of a default is met where all are told", "report-all", "<flag>false</flag><port/>",
     "top{port=161 flag=false}"),
    ("a filter of a value that was set to its default is met", None, "<port>161</port><text/>",
     "top{text=hello port=161}"),
    ("a filter of such a value is not met by trim", "trim", "<port>161</port><text/>", ""),
)


def filters_xpath_behind(bench, mode, expected):
    reply = ask(prepared(bench), xpath("/cf:top[cf:flag='false']/cf:text"), mode)
    assert reply.shape == expected


CHECKS.each(
    "MUST", "4.5.1", filters_xpath_behind,
    ("an XPath filter does not see defaults where none are told", None, ""),
    ("an XPath filter sees defaults where all are told", "report-all", "top{text=hello}"),
)


def mode_is_refused(bench, mode):
    session = bench.session()
    for operation in ("get-config", "get"):
        refused(ask(session, "", mode, operation), "protocol", "invalid-value",
                {"bad-element": "with-defaults"},
                f"/ietf-netconf:{operation}/ietf-netconf-with-defaults:with-defaults")


CHECKS.each(
    "MUST", "4.5.1", mode_is_refused,
    ("a mode that there is not is invalid-value", "report-some"),
    ("an empty mode is invalid-value", " "),
)


@CHECKS.must("4.5.1", "the parameter is of the namespace of its model")
def _(bench):
    reply = bench.session().ask(
        "<get><with-defaults>report-all</with-defaults></get>")
    refused(reply, "protocol", "unknown-element", {"bad-element": "with-defaults"})


@CHECKS.must("4.5.1", "the modes are for the candidate, too")
def _(bench):
    session = bench.session()
    session.done(edit(PREPARED, "candidate"))
    reply = session.ask(get_config(subtree(top("<flag/>")), "candidate",
                                   with_defaults("report-all")))
    assert reply.shape == "top{flag=false}"


def copies_alike(bench, mode):
    """A mode has no effect on a copy to a datastore."""
    session = prepared(bench)
    before = session.top()
    session.done(f"<copy-config><target><candidate/></target><source><running/></source>"
                 f"{with_defaults(mode)}</copy-config>")
    assert session.top("candidate") == before


CHECKS.each(
    "MUST", "4.5.1", copies_alike,
    ("a copy to a datastore is the same with report-all", "report-all"),
    ("a copy to a datastore is the same with report-all-tagged", "report-all-tagged"),
    ("a copy to a datastore is the same with trim", "trim"),
    ("a copy to a datastore is the same with explicit", "explicit"),
)


# Edits

def leads_to(bench, content, expected, before=""):
    session = bench.session()
    for target in ("candidate", "running"):
        session.done(edit(top(before), target))
        session.done(edit(content, target))
        reply = session.ask(get_config(subtree(top("<port/>")), target))
        assert reply.shape == expected, reply.text


def port(value, attributes=""):
    return top(f"<port{attributes}>{value}</port>")


SET, OTHER = "<port>161</port>", "<port>1161</port>"
MARK = ' wd:default="true"'
CHECKS.each(
    "MUST", "2.3.2", leads_to,
    ("a leaf that nobody set is created with its default", port(161, op("create")),
     "top{port=161}"),
    ("a leaf that is set to its default is deleted", port(161, op("delete")), "", SET),
    ("a leaf is set to its default by merge", port(161), "top{port=161}", OTHER),
)


def edit_is_refused(bench, content, tag, info, before=""):
    session = bench.session()
    for target in ("candidate", "running"):
        session.done(edit(top(before), target))
        refused(session.ask(edit(content, target)), "application", tag, info, PORT)


BAD = {"bad-element": "port"}
CHECKS.each(
    "MUST", "2.3.2", edit_is_refused,
    ("a leaf that is set to its default exists for create", port(161, op("create")),
     "data-exists", {}, SET),
    ("a leaf that nobody set does not exist for delete", port(161, op("delete")), "data-missing",
     {}),
)
CHECKS.each(
    "MUST", "4.5.2", leads_to,
    ("the attribute gives a leaf its default back", port(161, MARK), "", OTHER),
    ("the attribute takes what was set to the default", port(161, MARK), "", SET),
    ("the attribute at a leaf that nobody set changes nothing", port(161, MARK), ""),
    ("the attribute goes with merge", port(161, MARK + op("merge")), "", OTHER),
    ("the attribute goes with replace", port(161, MARK + op("replace")), "", OTHER),
    ("the attribute goes with create", port(161, MARK + op("create")), ""),
    ("the attribute goes below a replace", top(f"<port{MARK}>161</port>", op("replace")), "",
     OTHER),
    ("the attribute's truth is 1, too", port(161, ' wd:default="1"'), "", OTHER),
    ("the attribute as false is none", port(161, ' wd:default="false"'), "top{port=161}", OTHER),
    ("the attribute as 0 is none", port(161, ' wd:default="0"'), "top{port=161}", OTHER),
)
CHECKS.each(
    "MUST", "4.5.2", edit_is_refused,
    ("the attribute at another value than the default is invalid-value", port(1161, MARK),
     "invalid-value", BAD),
    ("the attribute with delete is invalid-value", port(161, MARK + op("delete")),
     "invalid-value", BAD, SET),
    ("the attribute with remove is invalid-value", port(161, MARK + op("remove")),
     "invalid-value", BAD, SET),
    ("the attribute without a value is invalid-value", port("", MARK), "invalid-value", BAD),
    ("the attribute with create of what is there is data-exists", port(161, MARK + op("create")),
     "data-exists", {}, SET),
)


@CHECKS.must("4.5.2", "the attribute below default-operation none is invalid-value")
def _(bench):
    refused(bench.session().ask(edit(port(161, MARK), default_operation="none")), "application",
            "invalid-value", BAD, PORT)


@CHECKS.must("4.5.2", "the attribute at a leaf without a default is invalid-value")
def _(bench):
    refused(bench.session().ask(edit(top(f"<text{MARK}>hello</text>"))), "application",
            "invalid-value", {"bad-element": "text"}, "/conformance:top/conformance:text")


@CHECKS.must("4.5.2", "the attribute with another value than truth or not is bad-attribute")
def _(bench):
    refused(bench.session().ask(edit(port(161, ' wd:default="yes"'))), "protocol",
            "bad-attribute", {"bad-attribute": "default", "bad-element": "port"})


@CHECKS.must("4.5.2", "the attribute of another namespace is refused")
def _(bench):
    content = port(161, f' xmlns:o="{MODEL}" o:default="true"')
    refused(bench.session().ask(edit(content)), "protocol", "unknown-attribute",
            {"bad-attribute": "default", "bad-element": "port"})


@CHECKS.must("4.5.2", "what report-all-tagged tells is taken back as it is")
def _(bench):
    session = prepared(bench)
    before = session.top()
    text = ask(session, "", "report-all-tagged").text
    content = text[text.index("<data>") + 6:text.index("</data>")]
    for target in ("candidate", "running"):
        session.done(edit(content, target))
        assert session.top(target) == before
        session.done(f"<copy-config><target><{target}/></target><source><config>{content}</config>"
                     "</source></copy-config>")
        assert session.top(target) == before


@CHECKS.must("4.5.3", "a configuration in a request has the attribute, too")
def _(bench):
    session = bench.session()
    mark = f' xmlns:wd="{DEFAULT}" wd:default="true"'
    session.done(copy("candidate", f"<config>{port(161, mark)}</config>"))
    assert session.top("candidate") == ""
    refused(session.ask(copy("candidate", f"<config>{port(1, mark)}</config>")), "application",
            "invalid-value", BAD, PORT)
    session.done("<discard-changes/>")
    assert session.top("candidate") == SHAPE


test_rfc6243 = CHECKS.test()
