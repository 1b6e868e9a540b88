"""What operators rely on: what they sent did what it says, what happened can be read afterwards,
and what they have read can be sent back."""

import getpass
import os
import signal
import xml.etree.ElementTree as ET

import pytest

from lab.daemon import Daemon, configuration, listening, merged
from lab.netconf import NS, Client, Refused, port_edit
from lab.site import DEFAULT, TABLES
from lab.snmp import answers
from lab.wait import wait_until


@pytest.fixture
def daemon(site, build):
    with Daemon(site.router, build) as instance:
        instance.write_startup(merged(configuration(DEFAULT),
                                      listening({"eth1": 161}, {"eth1": "red"}, TABLES)))
        instance.start()
        instance.wait_record("Forced ConfD's bind of SNMP, returned 0")
        yield instance


def listen_edit(attributes):
    return ('<snmp xmlns="urn:snmp-app:snmp"><agent><listen>'
            f"<interface {attributes}><name>l3-eth1</name></interface></listen></agent></snmp>")


def content(reply):
    """What stands in the <data> of a reply, as text."""
    return "".join(ET.tostring(element, encoding="unicode")
                   for element in reply.find("nc:data", NS))


@pytest.mark.parametrize("attributes", [
    'operation="delete"',
    'xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.1" nc:operation="delete"',
    'xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0 " nc:operation="delete"'])
def test_a_deletion_that_is_none_is_refused(daemon, client, attributes):
    before = content(client.get_config())
    stored = open(daemon.running_file, encoding="utf-8").read()
    for target in ("running", "candidate"):
        with pytest.raises(Refused) as refused:
            client.edit(listen_edit(attributes), target=target)
        assert refused.value.tag == "unknown-attribute"
        assert refused.value.info == {"bad-attribute": "operation", "bad-element": "interface"}
        assert content(client.get_config(target)) == before
    assert open(daemon.running_file, encoding="utf-8").read() == stored


@pytest.mark.parametrize("operation", ["merge", "replace"])
def test_what_was_read_can_be_sent_back(daemon, client, operation):
    before = content(client.get_config())
    assert "written-by" in before
    client.edit(before, default_operation=operation)
    assert content(client.get_config()) == before
    client.edit(listen_edit('nc:operation="delete"'))
    assert client.get_config().find(".//dyncfg:extraIpPorts", NS) is None
    client.edit(before, default_operation=operation)
    assert content(client.get_config()) == before


def test_what_was_read_can_be_sent_to_another_router(daemon, client, site, build):
    """Its redirect ports are its own."""
    client.edit(listen_edit('nc:operation="delete"'))
    daemon.reload(merged(configuration(DEFAULT),
                         listening({"eth0": 161, "eth1": 161}, {"eth0": "blue", "eth1": "red"},
                                   TABLES)))
    before = client.get_config()
    assert {port.text for port in before.iterfind(".//snmp:redir-port", NS)} == {"60600", "60601"}
    daemon.stop()
    with Daemon(site.router, build) as other:
        other.write_startup(merged(configuration(DEFAULT), listening({}, {}, TABLES)))
        other.start()
        with Client(other.netconf_socket) as there:
            there.edit(content(before), default_operation="replace")
            after = there.get_config()
        ports = {port.text for port in after.iterfind(".//snmp:redir-port", NS)}
        assert ports == {"60600", "60601"}
        extra = {entry.text for entry in after.iterfind(".//dyncfg:extraIpPorts", NS)}
        assert extra == {f"0.0.0.0:{port}" for port in ports}


def test_the_stored_configuration_is_a_start_up_file(daemon):
    stored = open(daemon.running_file, encoding="utf-8").read()
    since = daemon.mark()
    daemon.reload(stored)
    assert daemon.records("changes nothing", since)
    assert not daemon.records("refused", since)


def test_each_commit_is_recorded(daemon, client):
    since = daemon.mark()
    client.edit(port_edit(1161))
    user = getpass.getuser()
    record = daemon.wait_record(r"Commit by", since)
    assert "notice   platform" in record
    assert f"Commit by {user} (session 1, edit-config) in " in record
    assert record.endswith(" ms: set /confdConfig/snmpAgent/port")
    client.edit(port_edit(161), target="candidate")
    client.rpc("<commit/>")
    assert "(session 1, commit)" in daemon.wait_record(r"Commit by", since, count=2)
    client.edit(listen_edit('nc:operation="delete"'))
    record = daemon.wait_record(r"Commit by", since, count=3)
    assert "deleted /snmp/agent/listen/interface{l3-eth1}" in record
    assert "set /confdConfig/snmpAgent/extraIpPorts" in record


def test_refused_commits_are_recorded(daemon, client):
    since = daemon.mark()
    with pytest.raises(Refused):
        client.edit('<snmp xmlns="urn:snmp-app:snmp"><agent><listen><interface>'
                    "<name>l3-eth9</name><udp-port>161</udp-port></interface></listen></agent>"
                    "</snmp>")
    assert "no L3 interface has the rest of it" in daemon.wait_record(
        r"Commit by \S+ \(session 1, edit-config\) refused in \d+ ms: ", since)


def test_reloads_are_recorded(daemon):
    since = daemon.reload(merged(configuration(DEFAULT, port=1161)))
    record = daemon.wait_record("Commit by", since)
    assert "Commit by the system (reload) in " in record
    assert "deleted /snmp/agent/listen/interface{l3-eth1}" in record


def test_secrets_are_in_no_record(daemon, client):
    since = daemon.mark()
    daemon.reload(merged(configuration(DEFAULT, communities=("well-kept",))))
    daemon.wait_record("Commit by", since)
    assert not daemon.records("well-kept", since)


def test_a_reload_waits_for_no_lock(daemon, client, site):
    client.rpc("<lock><target><running/></target></lock>")
    before = content(client.get_config())
    since = daemon.mark()
    daemon.write_startup(merged(configuration(DEFAULT, port=1161)))
    daemon.tell(signal.SIGHUP)
    record = daemon.wait_record("start-up configuration not taken", since)
    assert record.endswith("the running one stays: session 1 has locked it")
    daemon.wait_ready()
    assert content(client.get_config()) == before
    client.rpc("<unlock><target><running/></target></unlock>")
    daemon.reload(merged(configuration(DEFAULT, port=1161)))
    assert answers(site.managers["default"], DEFAULT, port=1161)


def test_a_listening_entry_of_no_l3_interface_says_so(daemon, client):
    client.edit('<snmp xmlns="urn:snmp-app:snmp"><agent><listen><interface><name>eth1</name>'
                "<udp-port>162</udp-port></interface></listen></agent></snmp>")
    reasons = {entry.findtext("state:name", namespaces=NS):
               entry.findtext("state:reason", namespaces=NS)
               for entry in client.state().iterfind(".//state:listening-interface", NS)}
    assert reasons == {"l3-eth1": None,
                       "eth1": "its name is not l3- and that of an L3 interface"}


def confirmed(client, port, more=""):
    client.edit(port_edit(port), target="candidate")
    client.rpc(f"<commit><confirmed/>{more}</commit>")


def port_of(client):
    return client.get_config().findtext(".//dyncfg:snmpAgent/dyncfg:port", namespaces=NS)


def serves(site, port):
    return answers(site.managers["default"], DEFAULT, port=port)


@pytest.mark.parametrize("end", [signal.SIGTERM, signal.SIGKILL])
def test_what_was_not_confirmed_is_taken_back_by_a_start(daemon, client, site, end):
    client.edit(listen_edit('nc:operation="delete"'), target="candidate")
    confirmed(client, 1161)
    wait_until(lambda: serves(site, 1161), "the agent at its new port")
    daemon.stop(end)
    since = daemon.mark()
    daemon.start()
    assert daemon.records("A commit was not confirmed; the configuration from before it", since)
    wait_until(lambda: serves(site, 161), "the agent at its old port")
    assert site.redirects() == ["eth1 . 161 : 60600"]
    daemon.stop()
    since = daemon.mark()
    daemon.start()
    assert not daemon.records("was not confirmed", since)


def test_what_was_not_confirmed_is_taken_back_with_its_session(daemon, client, site):
    since = daemon.mark()
    with Client(daemon.netconf_socket) as other:
        other.edit(listen_edit('nc:operation="delete"'), target="candidate")
        confirmed(other, 1161)
        assert site.redirects() == []
        assert port_of(client) == "1161"
    record = daemon.wait_record("Commit by the system", since)
    assert "(taking back a commit: its session ended unconfirmed) in " in record
    assert port_of(client) == "161"
    assert site.redirects() == ["eth1 . 161 : 60600"]
    wait_until(lambda: serves(site, 161), "the agent at its old port")


def test_what_was_not_confirmed_in_time_is_taken_back(daemon, client, site):
    since = daemon.mark()
    confirmed(client, 1161, "<confirm-timeout>1</confirm-timeout>")
    daemon.wait_record(r"taking back a commit: not confirmed in time\) in ", since)
    assert port_of(client) == "161"
    wait_until(lambda: serves(site, 161), "the agent at its old port")


@pytest.mark.parametrize("end", [signal.SIGTERM, signal.SIGKILL])
def test_what_was_confirmed_stays(daemon, client, end):
    confirmed(client, 1161, "<persist>change 17</persist>")
    with Client(daemon.netconf_socket) as other:
        other.rpc("<commit><persist-id>change 17</persist-id></commit>")
    daemon.stop(end)
    daemon.start()
    with Client(daemon.netconf_socket) as after:
        assert port_of(after) == "1161"


def test_a_copy_that_cannot_be_kept_refuses_the_commit(daemon, client, site):
    """A folder has the file's place."""
    os.mkdir(daemon.running_file + ".unconfirmed")
    client.edit(port_edit(1161), target="candidate")
    with pytest.raises((Refused, ConnectionError)):
        client.rpc("<commit><confirmed/></commit>")
    os.rmdir(daemon.running_file + ".unconfirmed")
    assert daemon.process.wait(10) == 1
    daemon.start()
    with Client(daemon.netconf_socket) as after:
        assert port_of(after) == "161"
