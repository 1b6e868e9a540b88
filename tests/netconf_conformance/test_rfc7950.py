"""RFC 7950: constraints, values, and the errors of sections 8 and 15."""

from netconf_conformance.bench import SHAPE
from netconf_conformance.checks import Checks, refused
from netconf_conformance.session import YANG, edit, op, row, subtree, get_config, top

CHECKS = Checks("7950")
TOP = "/conformance:top"


def at(*steps):
    return "/".join([TOP, *(f"conformance:{step}" for step in steps)])


def entry(name, key, value):
    return f"{name}[conformance:{key}='{value}']"


def prepared(bench, before, target):
    session = bench.session()
    session.done(edit(top(before), target))
    return session, session.top(target)


def is_refused(bench, content, tag, info, path, app_tag="", before=""):
    """By running at once, by the candidate when it is committed."""
    session, seen = prepared(bench, before, "running")
    refused(session.ask(edit(top(content))), "application", tag, info, path, app_tag)
    assert session.top() == seen
    reply = session.ask(edit(top(content), "candidate"))
    if not reply.errors:
        reply = session.ask("<commit/>")
    refused(reply, "application", tag, info, path, app_tag)
    assert session.top() == seen


def place_is_missing(bench, content, info, path):
    session = bench.session()
    refused(session.ask(edit(top(content))), "protocol", "bad-attribute", info, path,
            "missing-instance")
    assert session.top() == SHAPE


def is_taken(bench, content, leaf, expected, before=""):
    session, _ = prepared(bench, before, "running")
    session.done(edit(top(content)))
    reply = session.ask(get_config(subtree(top(f"<{leaf}/>"))))
    assert reply.shape == (f"top{{{expected}}}" if expected else ""), reply.text


# Section 15: what tells which constraint is broken.

CHECKS.each(
    "MUST", "15.1", is_refused,
    ("values that are to be unique: data-not-unique, with the leaf", row("b", "<number>1</number>"),
     "operation-failed", {"non-unique": at(entry("row", "name", "b"), "number")},
     at(entry("row", "name", "b")), "data-not-unique"),
)
CHECKS.each(
    "MUST", "15.2", is_refused,
    ("too many entries: too-many-elements", "".join(map(row, "cde")), "operation-failed", {},
     at("row"), "too-many-elements"),
)
CHECKS.each(
    "MUST", "15.3", is_refused,
    ("too few values: too-few-elements", "<full><name>f</name><member>m</member></full>",
     "operation-failed", {}, at(entry("full", "name", "f"), "member"), "too-few-elements"),
    ("no values where some have to be: too-few-elements", "<full><name>f</name></full>",
     "operation-failed", {}, at(entry("full", "name", "f"), "member"), "too-few-elements"),
)
CHECKS.each(
    "MUST", "15.4", is_refused,
    ("a must that is not met: must-violation", "<limited>9</limited>", "operation-failed", {},
     at("limited"), "must-violation"),
    ("a must with a tag of its own: that one", "<own-must>9</own-must>", "operation-failed", {},
     at("own-must"), "less-than-five"),
)
CHECKS.each(
    "MUST", "15.5", is_refused,
    ("an instance-identifier of nothing: instance-required",
     '<instance xmlns:cf="urn:snmp-app:test:conformance">/cf:top/cf:word</instance>',
     "data-missing", {}, at("instance"), "instance-required"),
)
CHECKS.each(
    "MUST", "15.6", is_refused,
    ("a leafref of nothing: instance-required", "<reference>z</reference>", "data-missing", {},
     at("reference"), "instance-required"),
    ("a leafref of what the edit takes away: instance-required", row("a", "", op("delete")),
     "data-missing", {}, at("reference"), "instance-required", "<reference>a</reference>"),
)
CHECKS.each(
    "MUST", "15.7", is_refused,
    ("a choice of which nothing is there: missing-choice", "<chosen><name>c</name></chosen>",
     "data-missing", {"missing-choice": "kind"}, at(entry("chosen", "name", "c")),
     "missing-choice"),
)


def insert(place, anchor=""):
    return f' yang:insert="{place}"{anchor}'


def key(number):
    return f""" xmlns:cf="urn:snmp-app:test:conformance" yang:key="[cf:id='{number}']\""""


CHECKS.each(
    "MUST", "15.8", place_is_missing,
    ("an entry before one that is not there: missing-instance",
     f"<step{insert('before', key(9))}><id>4</id></step>",
     {"bad-attribute": "key", "bad-element": "step"}, at(entry("step", "id", "4"))),
    ("an entry after one that is not there: missing-instance",
     f"<step{insert('after', key(9))}><id>4</id></step>",
     {"bad-attribute": "key", "bad-element": "step"}, at(entry("step", "id", "4"))),
    ("a value before one that is not there: missing-instance",
     "<rank" + insert("before", ' yang:value="q"') + ">w</rank>",
     {"bad-attribute": "value", "bad-element": "rank"}, at("rank[.='w']")),
)


def message_of(bench, content, text):
    error = bench.session().ask(edit(top(content))).error
    assert text in error.message


CHECKS.each(
    "SHOULD", "7.5.4.1", message_of,
    ("the message of a must is the model's", "<own-must>9</own-must>", "it is less than five"),
    ("the message of a range is the model's", "<small>7</small>", "expected 1 to 5, or 10"),
    ("the message of a pattern is the model's", "<letters>b</letters>",
     "it consists of the letter a"),
)


def non_unique_namespace(bench):
    error = bench.session().ask(edit(top(row("b", "<number>1</number>")))).error
    assert error.element.find(f".//{{{YANG}}}non-unique") is not None


def missing_choice_namespace(bench):
    error = bench.session().ask(edit(top("<chosen><name>c</name></chosen>"))).error
    assert error.element.find(f".//{{{YANG}}}missing-choice") is not None


CHECKS.each("MUST", "15.1", non_unique_namespace,
            ("the element non-unique is of YANG's namespace",))
CHECKS.each("MUST", "15.7", missing_choice_namespace,
            ("the element missing-choice is of YANG's namespace",))

# Section 8

CHECKS.each(
    "MUST", "8.3.1", is_refused,
    ("a value that its type does not take: invalid-value", "<port>x</port>", "invalid-value",
     {"bad-element": "port"}, at("port")),
    ("a value out of its range, with the model's own tag", "<small>7</small>", "invalid-value",
     {"bad-element": "small"}, at("small"), "out-of-range"),
    ("a value out of its pattern, with the model's own tag", "<letters>b</letters>",
     "invalid-value", {"bad-element": "letters"}, at("letters"), "only-a"),
    ("an entry without all of its keys: missing-element", "<pair><a>x</a></pair>",
     "missing-element", {"bad-element": "b"}, TOP),
    ("an entry with a key twice: bad-element", "<row><name>c</name><name>d</name></row>",
     "bad-element", {"bad-element": "name"}, at("row", "name")),
    ("a key that its type does not take: invalid-value", "<step><id>x</id></step>",
     "invalid-value", {"bad-element": "id"}, at("step", "id")),
    ("an element that there is not: unknown-element", "<absent/>", "unknown-element",
     {"bad-element": "absent"}, TOP),
    ("an element of no place here: unknown-element", "<row><name>c</name><text>x</text></row>",
     "unknown-element", {"bad-element": "text"}, at(entry("row", "name", "c"))),
    ("two cases of one choice: bad-element", "<left>a</left><right>b</right>", "bad-element",
     {"bad-element": "right"}, at("right")),
    ("an unknown namespace: unknown-namespace", '<text xmlns="urn:x">a</text>',
     "unknown-namespace", {"bad-element": "text", "bad-namespace": "urn:x"}, TOP),
)
CHECKS.each(
    "MUST", "8.3.2", is_refused,
    ("delete of what is not there: data-missing", f"<word{op('delete')}/>", "data-missing", {},
     at("word")),
    ("create of what is there: data-exists", row("a", "", op("create")), "data-exists", {},
     at(entry("row", "name", "a"))),
    ("what a when keeps away: unknown-element", "<needs-flag>x</needs-flag>", "unknown-element",
     {"bad-element": "needs-flag"}, at("needs-flag")),
)
CHECKS.each(
    "MUST", "8.3.2", is_taken,
    ("what a when lets in is taken", "<flag>true</flag><needs-flag>x</needs-flag>", "needs-flag",
     "needs-flag=x"),
    ("a case takes those of the other case away", "<left>l</left>", "right", "",
     "<right>r</right>"),
    ("a case stays when it is named alone", "<left>l</left>", "left", "left=l", "<right>r</right>"),
    ("what a when no longer lets in goes", "<flag>false</flag>", "needs-flag", "",
     "<flag>true</flag><needs-flag>x</needs-flag>"),
)
CHECKS.each(
    "MUST", "8.3.3", is_refused,
    ("a mandatory leaf that is not there", "<strict><name>s</name></strict>", "operation-failed",
     {}, at(entry("strict", "name", "s"))),
)
CHECKS.each(
    "MUST", "8.1", is_taken,
    ("constraints are for the result: a reference and what it names come at once",
     row("c") + "<reference>c</reference>", "reference", "reference=c"),
    ("constraints are for the result: unique values change places",
     row("a", "<number>2</number>") + row("b", "<number>1</number>"), "row",
     "row{name=a number=2 note=first more{depth=7}} row{name=b number=1}"),
    ("constraints are for the result: entries go and come at once",
     row("a", "", op("delete")) + "".join(map(row, "cde")), "row",
     "row{name=b number=2} row{name=c} row{name=d} row{name=e}"),
    ("a must is met by a value below its limit", "<limited>4</limited>", "limited", "limited=4"),
    ("the most entries are taken", "".join(map(row, "cd")), "row",
     "row{name=a number=1 note=first more{depth=7}} row{name=b number=2} row{name=c} row{name=d}"),
    ("the fewest values are taken",
     "<full><name>f</name><member>m</member><member>n</member></full>", "full",
     "full{name=f member=m member=n}"),
)

# Section 7: order of the operator's

STEPS = "step{{id={}}} step{{id={}}} step{{id={}}} step{{id={}}}"
CHECKS.each(
    "MUST", "7.8.6", is_taken,
    ("a new entry is the last one", "<step><id>4</id></step>", "step", STEPS.format(1, 2, 3, 4)),
    ("an entry becomes the first one", f"<step{insert('first')}><id>4</id></step>", "step",
     STEPS.format(4, 1, 2, 3)),
    ("an entry becomes the last one", f"<step{insert('last')}><id>4</id></step>", "step",
     STEPS.format(1, 2, 3, 4)),
    ("an entry stands before another one", f"<step{insert('before', key(2))}><id>4</id></step>",
     "step", STEPS.format(1, 4, 2, 3)),
    ("an entry stands after another one", f"<step{insert('after', key(2))}><id>4</id></step>",
     "step", STEPS.format(1, 2, 4, 3)),
    ("an entry that is there moves",
     f"<step{insert('first')}><id>3</id></step><step><id>4</id></step>", "step",
     STEPS.format(3, 1, 2, 4)),
    ("an entry that is merged stays where it is",
     "<step><id>2</id><value>v</value></step>", "step", "step{id=1} step{id=2 value=v} step{id=3}"),
    ("an entry that is replaced stays where it is",
     f"<step{op('replace')}><id>2</id><value>v</value></step>", "step",
     "step{id=1} step{id=2 value=v} step{id=3}"),
)
RANKS = "rank={} rank={} rank={} rank={}"
CHECKS.each(
    "MUST", "7.7.9", is_taken,
    ("a new value is the last one", "<rank>w</rank>", "rank", RANKS.format(*"xyzw")),
    ("a value becomes the first one", f"<rank{insert('first')}>w</rank>", "rank",
     RANKS.format(*"wxyz")),
    ("a value stands before another one",
     "<rank" + insert("before", ' yang:value="y"') + ">w</rank>", "rank", RANKS.format(*"xwyz")),
    ("a value stands after another one",
     "<rank" + insert("after", ' yang:value="y"') + ">w</rank>", "rank", RANKS.format(*"xywz")),
)


def place_is_refused(bench, content, tag, info):
    session = bench.session()
    error = session.ask(edit(top(content))).error
    assert (error.tag, error.info) == (tag, info), repr(error)
    assert session.top() == SHAPE


CHECKS.each(
    "MUST", "7.8.6", place_is_refused,
    ("a place before nothing is refused", f"<step{insert('before')}><id>4</id></step>",
     "missing-attribute", {"bad-attribute": "key", "bad-element": "step"}),
    ("a place that there is not is refused", f"<step{insert('middle')}><id>4</id></step>",
     "bad-attribute", {"bad-attribute": "insert", "bad-element": "step"}),
    ("a place in a list without an order of its own is refused", row("c", "", insert("first")),
     "unknown-attribute", {"bad-attribute": "insert", "bad-element": "row"}),
)

# Presence

CHECKS.each(
    "MUST", "7.5.7", is_taken,
    ("a presence container is there when it is made", "<feature/>", "feature", "feature"),
    ("a presence container is not there of itself", "", "feature", ""),
    ("a presence container goes with what is in it", f"<feature{op('delete')}/>", "feature", "",
     "<feature><level>4</level></feature>"),
)

# Section 9: values of types, as they are told, and those that are none.


def values(section, leaf, taken, not_taken, app_tag=""):
    """Taken ones are given with how they are told: the canonical form."""
    CHECKS.each("MUST", section, is_taken, *(
        (f"{leaf} takes {value!r}", f"<{leaf}>{value}</{leaf}>", leaf,
         f"{leaf}={told}" if told else leaf) for value, told in taken.items()))
    CHECKS.each("MUST", section, is_refused, *(
        (f"{leaf} does not take {value!r}", f"<{leaf}>{value}</{leaf}>", "invalid-value",
         {"bad-element": leaf}, at(leaf), app_tag) for value in not_taken))


values("9.2", "port", {"0": "0", "65535": "65535", "+7": "7", "007": "7"},
       ["65536", "-1", "1.0", "", "1 2", "0x"])
values("9.2.1", "port", {"0x10": "16", "010": "8"}, [])
values("9.2", "signed", {"-128": "-128", "127": "127", "-0": "0"}, ["128", "-129"])
values("9.2", "wide", {"-9223372036854775808": "-9223372036854775808"}, ["9223372036854775808"])
values("9.2.4", "small", {"1": "1", "5": "5", "10": "10"}, ["0", "6", "11"], "out-of-range")
values("9.3", "fraction", {"1": "1.0", "-0.50": "-0.5", "12.34": "12.34"}, ["1.234", "1e2", "."])
values("9.4.4", "short", {"a": "a", "äöü": "äöü"}, ["abcd", ""])
values("9.4.5", "letters", {"aaa": "aaa", "": ""}, ["ab"], "only-a")
values("9.5", "flag", {"true": "true", "false": "false"}, ["1", "TRUE", "yes", ""])
values("9.6", "word", {"low": "low", "high": "high"}, ["LOW", "middle", "0", ""])
values("9.7", "switches", {"second first": "first second", "first": "first", "": ""},
       ["third", "first first"])
values("9.8", "bytes", {"AQID": "AQID"}, ["A", "AQIDBAU=", "*"])
values("9.10", "kind", {"circle": "cf:circle"}, ["shape", "square", ""])
values("9.11", "nothing", {"": ""}, ["x"])
values("9.12", "either", {"7": "7", "none": "none"}, ["some", "256"])
values("4", "address", {"192.0.2.1": "192.0.2.1"}, ["192.0.2", "192.0.2.256", "2001:db8::1"])


test_rfc7950 = CHECKS.test()
