"""RFC 6241, sections 6 and 8.9: subtree filters and XPath."""

from netconf_conformance.bench import SHAPE
from netconf_conformance.checks import Checks, refused
from netconf_conformance.session import MODEL, get_config, row, subtree, top, xpath

CHECKS = Checks("6241")

A = "row{name=a number=1 note=first more{depth=7}}"
B = "row{name=b number=2}"


def selects(bench, filters, expected):
    """The same of <get-config> and of <get>, as the data are configuration."""
    session = bench.session()
    assert session.ask(get_config(filters)).shape == expected
    assert session.ask(f"<get>{filters}</get>").shape == expected


def selects_subtree(bench, content, expected):
    selects(bench, subtree(content), expected)


CHECKS.each(
    "MUST", "6.2.1", selects_subtree,
    ("an element of a namespace selects that of the namespace", top("<text/>"), "top{text=hello}"),
    ("an element of another namespace selects nothing", '<top xmlns="urn:x"/>', ""),
    ("a child of another namespace selects nothing", top('<text xmlns="urn:x"/>'), ""),
    ("prefixes stand for namespaces", f'<c:top xmlns:c="{MODEL}"><c:text/></c:top>',
     "top{text=hello}"),
)
CHECKS.each(
    "MAY", "6.2.1", selects_subtree,
    ("an element without a namespace means those of any", '<top xmlns=""><text/></top>',
     "top{text=hello}"),
)


@CHECKS.must("6.2.2", "an attribute that no data have selects nothing")
def _(bench):
    reply = bench.session().ask(get_config(subtree(top('<text unit="x"/>'))))
    assert "hello" not in reply.text


CHECKS.each(
    "MUST", "6.2.3", selects_subtree,
    ("a containment node goes down to what it contains", top("<row><more><depth/></more></row>"),
     "top{row{name=a more{depth=7}}}"),
    ("a containment node whose selection is not there is left out",
     top("<feature><level/></feature>"), ""),
)
CHECKS.each(
    "MUST", "6.2.4", selects_subtree,
    ("an empty leaf selects one", top("<text/>"), "top{text=hello}"),
    ("an empty element selects all below it", top("<row/>"), "top{" + A + " " + B + "}"),
    ("an element with blanks alone is a selection, too", top("<text>\n  </text>"),
     "top{text=hello}"),
    ("a selection of what is not there selects nothing", top("<word/>"), ""),
    ("a selection of what no model has selects nothing", top("<absent/>"), ""),
    ("a selection at the top selects all of it", top(""), SHAPE),
    ("two selections select both", top("<text/><tag/>"), "top{text=hello tag=s tag=t}"),
    ("a leaf-list selects all of its values", top("<rank/>"), "top{rank=x rank=y rank=z}"),
    ("one selection twice selects once", top("<text/><text/>"), "top{text=hello}"),
)
CHECKS.each(
    "MUST", "6.2.5", selects_subtree,
    ("a content match alone selects the whole entry", top(row("a")), "top{" + A + "}"),
    ("a content match of what is no key selects the whole entry",
     top("<row><number>2</number></row>"), "top{" + B + "}"),
    ("a content match without its like selects nothing", top(row("z")), ""),
    ("content matches beside each other are all to be met",
     top("<row><name>a</name><number>2</number></row>"), ""),
    ("two content matches that are met select the entry",
     top("<row><name>a</name><number>1</number></row>"), "top{" + A + "}"),
    ("blanks around a content match are nothing", top("<row><name>\n  a\n </name></row>"),
     "top{" + A + "}"),
    ("a content match beside selections selects these and itself",
     top("<row><name>b</name><number/></row>"), "top{row{name=b number=2}}"),
    ("a content match that is no key is told beside a selection",
     top("<row><note>first</note><number/></row>"), "top{row{name=a number=1 note=first}}"),
    ("a content match beside a containment", top("<row><name>a</name><more><depth/></more></row>"),
     "top{row{name=a more{depth=7}}}"),
    ("a content match that is not met hides what stands beside it",
     top("<text>other</text><tag/>"), ""),
    ("a content match at the top selects the whole", top("<text>hello</text>"), SHAPE),
    ("a content match of one value of a leaf-list is met", top("<tag>t</tag><text/>"),
     "top{text=hello tag=t}"),
)
CHECKS.each(
    "MUST", "6.3", selects_subtree,
    ("two filters of one list select the entries of both", top(row("a") + row("b")),
     "top{" + A + " " + B + "}"),
    ("entries of two filters have of each what it selects",
     top("<row><name>a</name><number/></row><row><name>b</name></row>"),
     "top{row{name=a number=1} " + B + "}"),
    ("two subtrees at the top select of both",
     top("<text/>") + '<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent><ip/></snmpAgent>'
     "</confdConfig>", "confdConfig{snmpAgent{ip=127.0.0.1}} top{text=hello}"),
    ("an empty filter selects nothing", "", ""),
)
CHECKS.each(
    "MAY", "6.4.3", selects_subtree,
    ("a selection in entries has their keys, too", top("<row><number/></row>"),
     "top{row{name=a number=1} row{name=b number=2}}"),
)


@CHECKS.must("6.1", "without a filter all is told")
def _(bench):
    session = bench.session()
    assert SHAPE in session.ask(get_config()).shape
    whole = session.ask("<get/>")
    assert SHAPE in whole.shape and whole.find_all("netconf-state")


@CHECKS.must("6.1", "a filter without a type is a subtree filter")
def _(bench):
    selects(bench, f"<filter>{top('<text/>')}</filter>", "top{text=hello}")


@CHECKS.must("6.4", "a filter of state selects state of <get> alone")
def _(bench):
    session = bench.session()
    state = subtree('<netconf-state xmlns="urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring">'
                    "<capabilities/></netconf-state>")
    assert session.ask(get_config(state)).shape == ""
    assert session.ask(f"<get>{state}</get>").shape.startswith("netconf-state{capabilities{")


def selects_xpath(bench, select, expected):
    selects(bench, xpath(select), expected)


CHECKS.each(
    "MUST", "8.9.5", selects_xpath,
    ("a path selects its node with what it stands in", "/cf:top/cf:text", "top{text=hello}"),
    ("a node is told with all below it", "/cf:top/cf:row[cf:name='a']", "top{" + A + "}"),
    ("a path of a leaf in entries has their keys", "/cf:top/cf:row/cf:number",
     "top{row{name=a number=1} row{name=b number=2}}"),
    ("a predicate of a number is met by its like", "/cf:top/cf:row[cf:number=2]", "top{" + B + "}"),
    ("a predicate may compare", "/cf:top/cf:row[cf:number &gt; 1]/cf:name", "top{row{name=b}}"),
    ("a predicate may call functions", "/cf:top/cf:row[contains(cf:note,'irs')]/cf:name",
     "top{row{name=a}}"),
    ("two paths select of both", "/cf:top/cf:text | /cf:top/cf:tag",
     "top{text=hello tag=s tag=t}"),
    ("two slashes go down to any depth", "//cf:depth", "top{row{name=a more{depth=7}}}"),
    ("a predicate may be a place", "/cf:top/cf:rank[2]", "top{rank=y}"),
    ("a step may go up", "/cf:top/cf:row/cf:more[cf:depth]/../cf:number",
     "top{row{name=a number=1}}"),
    ("a path of what is not there selects nothing", "/cf:top/cf:word", ""),
    ("a path of the root selects all of it", "/cf:top", SHAPE),
    ("the context node is the root", "cf:top/cf:text", "top{text=hello}"),
)


@CHECKS.must("8.9.5", "prefixes are those of the filter element")
def _(bench):
    filters = f'<filter type="xpath" xmlns:other="{MODEL}" select="/other:top/other:text"/>'
    selects(bench, filters, "top{text=hello}")


@CHECKS.must("8.9.5", "the attributes may be of the base namespace")
def _(bench):
    filters = (f'<nc:filter xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0" nc:type="xpath" '
               f'xmlns:cf="{MODEL}" nc:select="/cf:top/cf:text"/>')
    selects(bench, filters, "top{text=hello}")


def is_refused(bench, filters, tag, info):
    session = bench.session()
    for operation in (get_config(filters), f"<get>{filters}</get>"):
        refused(session.ask(operation), "protocol", tag, info)


SELECT = {"bad-attribute": "select"}
IN_FILTER = {"bad-attribute": "select", "bad-element": "filter"}
CHECKS.each(
    "MUST", "8.9.5", is_refused,
    ("an expression that selects no nodes is refused", xpath("count(/cf:top)"), "invalid-value",
     SELECT),
    ("an expression that is a text is refused", xpath("'a'"), "invalid-value", SELECT),
    ("an expression that is none is refused", xpath("/cf:top["), "bad-attribute", IN_FILTER),
    ("a prefix that is not declared is refused", xpath("/no:top"), "bad-attribute", IN_FILTER),
    ("a filter without select is refused", '<filter type="xpath"/>', "missing-attribute",
     IN_FILTER),
    ("a filter of an unknown type is refused", '<filter type="regex"/>', "bad-attribute",
     {"bad-attribute": "type", "bad-element": "filter"}),
    ("a function that there is not is refused", xpath("/cf:top[absent()]"), "bad-attribute",
     IN_FILTER),
)
CHECKS.each(
    "MUST", "8.9.1", is_refused,
    ("no variable is bound", xpath("$x"), "invalid-value", IN_FILTER),
    ("no variable is bound in a predicate", xpath("/cf:top[cf:text=$x]"), "invalid-value",
     IN_FILTER),
    ("no variable is bound in the key of an entry", xpath("/cf:top/cf:row[cf:name=$x]"),
     "invalid-value", IN_FILTER),
    ("no variable is bound below what is not there", xpath("/cf:top/cf:word[.=$x]"),
     "invalid-value", IN_FILTER),
)
CHECKS.each(
    "MUST", "8.9.1", selects_xpath,
    ("a dollar sign in a literal is none of a variable", "/cf:top/cf:row[cf:name='$x']", ""),
    ("functions of the core library are there",
     "/cf:top[normalize-space(' hello ')=cf:text]/cf:text", "top{text=hello}"),
)


test_rfc6241_filters = CHECKS.test()
