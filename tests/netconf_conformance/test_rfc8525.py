"""RFC 8525 and RFC 7950, section 5.6.4: which models the server has."""

import re

from netconf_conformance.checks import Checks
from netconf_conformance.session import LIBRARY, get_schema, shape, text_of

CHECKS = Checks("8525")
IN_LIBRARY = "{%s}" % LIBRARY
DATASTORES = "urn:ietf:params:xml:ns:yang:ietf-datastores"


def library(session, name="yang-library"):
    return session.state(f'<{name} xmlns="{LIBRARY}"/>').data.find(f"{IN_LIBRARY}{name}")


def leaf(element, name):
    return text_of(element.find(f"{IN_LIBRARY}{name}"))


def capability(session):
    found = [text for text in session.capabilities if ":capability:yang-library:" in text]
    assert len(found) == 1
    return found[0]


@CHECKS.must("2", "the capability of version 1.1 is told once")
def _(bench):
    assert capability(bench.session()).startswith(
        "urn:ietf:params:netconf:capability:yang-library:1.1?")


@CHECKS.must("2", "the capability tells the revision of the model")
def _(bench):
    session = bench.session()
    revision = re.search(r"[?&]revision=([^&]*)", capability(session)).group(1)
    assert revision == "2019-01-04"
    told = session.ask(get_schema("<identifier>ietf-yang-library</identifier>"
                                  f"<version>{revision}</version>"))
    assert "module ietf-yang-library {" in told.text


@CHECKS.must("2", "the capability's content-id is that of the data")
def _(bench):
    session = bench.session()
    told = re.search(r"[?&]content-id=([^&]*)", capability(session)).group(1)
    assert told == leaf(library(session), "content-id") != ""


@CHECKS.must("3", "the content-id is the same as long as the models are")
def _(bench):
    identifiers = {capability(bench.session()) for _ in range(3)}
    bench.daemon.stop()
    bench.daemon.start()
    identifiers.add(capability(bench.session()))
    assert len(identifiers) == 1


@CHECKS.must("3", "the datastores are those of the server")
def _(bench):
    names = [leaf(entry, "name").rpartition(":")[2]
             for entry in library(bench.session()).iterfind(f"{IN_LIBRARY}datastore")]
    assert names == ["running", "candidate", "startup"]


@CHECKS.must("3", "the datastores are identities of their model")
def _(bench):
    text = bench.session().state(
        f'<yang-library xmlns="{LIBRARY}"><datastore/></yang-library>').text
    prefix = re.search(rf'xmlns:([\w-]+)="{DATASTORES}"', text).group(1)
    assert set(re.findall(r"<name[^>]*>([^<]*)<", text)) == {
        f"{prefix}:{name}" for name in ("running", "candidate", "startup")}


@CHECKS.must("3", "each datastore has a schema, which is there")
def _(bench):
    found = library(bench.session())
    schemas = [leaf(entry, "name") for entry in found.iterfind(f"{IN_LIBRARY}schema")]
    for entry in found.iterfind(f"{IN_LIBRARY}datastore"):
        assert leaf(entry, "schema") in schemas


@CHECKS.must("3", "each schema has sets of modules, which are there")
def _(bench):
    found = library(bench.session())
    sets = [leaf(entry, "name") for entry in found.iterfind(f"{IN_LIBRARY}module-set")]
    assert len(set(sets)) == len(sets) > 0
    for entry in found.iterfind(f"{IN_LIBRARY}schema"):
        named = [text_of(name) for name in entry.iterfind(f"{IN_LIBRARY}module-set")]
        assert named and set(named) <= set(sets)


def modules(session, kind="module"):
    return list(library(session).iterfind(f"{IN_LIBRARY}module-set/{IN_LIBRARY}{kind}"))


@CHECKS.must("3", "every implemented module has name and namespace, and is told once")
def _(bench):
    found = modules(bench.session())
    names = [leaf(entry, "name") for entry in found]
    assert len(set(names)) == len(names) > 5
    assert all(leaf(entry, "namespace") for entry in found)


@CHECKS.must("3", "no two implemented modules have one namespace")
def _(bench):
    spaces = [leaf(entry, "namespace") for entry in modules(bench.session())]
    assert len(set(spaces)) == len(spaces)


def is_implemented(bench, name, revision, ns):
    found = [entry for entry in modules(bench.session()) if leaf(entry, "name") == name]
    assert len(found) == 1
    assert (leaf(found[0], "revision"), leaf(found[0], "namespace")) == (revision, ns)


CHECKS.each(
    "MUST", "3", is_implemented,
    ("the module of the base protocol is told", "ietf-netconf", "2011-06-01",
     "urn:ietf:params:xml:ns:netconf:base:1.0"),
    ("the module of the monitoring is told", "ietf-netconf-monitoring", "2010-10-04",
     "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"),
    ("the module of the defaults is told", "ietf-netconf-with-defaults", "2011-06-01",
     "urn:ietf:params:xml:ns:yang:ietf-netconf-with-defaults"),
    ("the module of the library itself is told", "ietf-yang-library", "2019-01-04", LIBRARY),
    ("a device's module is told", "snmp", "2026-11-21", "urn:snmp-app:snmp"),
    ("the module of the state is told", "snmp-app-state", "2026-11-21", "urn:snmp-app:state"),
    ("the module of these checks is told", "conformance", "2026-11-22",
     "urn:snmp-app:test:conformance"),
)


@CHECKS.must("3", "a module that is only imported is told as such")
def _(bench):
    session = bench.session()
    imported = [leaf(entry, "name") for entry in modules(session, "import-only-module")]
    assert "ietf-inet-types" in imported
    assert not set(imported) & {leaf(entry, "name") for entry in modules(session)}


@CHECKS.must("3", "the features of a module are those of the hello")
def _(bench):
    session = bench.session()
    netconf = next(entry for entry in modules(session) if leaf(entry, "name") == "ietf-netconf")
    told = {text_of(feature) for feature in netconf.iterfind(f"{IN_LIBRARY}feature")}
    hello = next(text for text in session.capabilities if "?module=ietf-netconf&" in text)
    assert told == set(re.search(r"&features=([^&]*)", hello).group(1).split(","))


@CHECKS.must("3", "the features are those whose capabilities are told")
def _(bench):
    session = bench.session()
    netconf = next(entry for entry in modules(session) if leaf(entry, "name") == "ietf-netconf")
    for feature in netconf.iterfind(f"{IN_LIBRARY}feature"):
        assert [text for text in session.capabilities
                if f":capability:{text_of(feature)}:" in text], text_of(feature)


@CHECKS.must("3", "every module can be had")
def _(bench):
    session = bench.session()
    for kind in ("module", "import-only-module"):
        for entry in modules(session, kind):
            name = leaf(entry, "name")
            reply = session.ask(get_schema(f"<identifier>{name}</identifier>"))
            assert f"module {name} {{" in reply.text


@CHECKS.must("3", "every module of the hello is implemented")
def _(bench):
    session = bench.session()
    told = {(leaf(entry, "namespace"), leaf(entry, "name")) for entry in modules(session)}
    hello = {re.match(r"(.*)\?module=([^&]*)", text).groups()
             for text in session.capabilities if "?module=" in text}
    assert hello == told


@CHECKS.must("4", "the older list is there, with the same content-id")
def _(bench):
    session = bench.session()
    older = library(session, "modules-state")
    assert leaf(older, "module-set-id") == leaf(library(session), "content-id")


@CHECKS.must("4", "the older list has the same modules")
def _(bench):
    session = bench.session()
    older = {(leaf(entry, "name"), leaf(entry, "conformance-type"))
             for entry in library(session, "modules-state").iterfind(f"{IN_LIBRARY}module")}
    assert older == ({(leaf(entry, "name"), "implement") for entry in modules(session)} |
                     {(leaf(entry, "name"), "import")
                      for entry in modules(session, "import-only-module")})


@CHECKS.must("4", "the library is no configuration")
def _(bench):
    session = bench.session()
    reply = session.ask("<get-config><source><running/></source></get-config>")
    assert not reply.find_all("yang-library")
    assert shape(library(session)).startswith("yang-library{")


test_rfc8525 = CHECKS.test()
