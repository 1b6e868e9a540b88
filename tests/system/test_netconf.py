"""Operators' sessions: configuration by NETCONF, on the daemon's socket and over a real sshd."""

import json
import os
import stat
import subprocess

import pytest

from lab import snmp, ssh
from lab.daemon import TREE, Daemon, configuration, listening, merged, targets
from lab.netconf import BASE, NS, Client, Refused, port_edit
from lab.site import DEFAULT, RED, TABLES
from lab.wait import wait_until
from lab.yangcli import Operator

STANDARD_MODELS = "/usr/share/yuma/modules/ietf/ietf-netconf@2011-06-01.yang"
pytestmark = pytest.mark.skipif(not os.path.exists(STANDARD_MODELS),
                                reason="the IETF's models are missing (package libyuma-base)")


@pytest.fixture
def daemon(site, build):
    with Daemon(site.router, build) as instance:
        instance.write_startup(merged(configuration(DEFAULT),
                                      listening({}, {"eth1": "red"}, TABLES)))
        instance.start()
        instance.wait_record("Forced ConfD's bind of SNMP, returned 0")
        yield instance


LISTEN = ('<snmp xmlns="urn:snmp-app:snmp"><agent><listen><interface{operation}>'
          "<name>l3-eth1</name>{leaves}</interface></listen></agent></snmp>")


def port_of(client, source="running"):
    reply = client.get_config(source)
    return reply.findtext(".//dyncfg:snmpAgent/dyncfg:port", namespaces=NS)


def test_typical_change(daemon, site, client):
    """The transaction's own entries, the kernel's redirect and an answer, by one edit."""
    client.edit(LISTEN.format(operation="", leaves="<udp-port>161</udp-port>"))
    reply = client.get_config()
    extra = [entry.text for entry in reply.iterfind(".//dyncfg:extraIpPorts", NS)]
    assert extra == ["0.0.0.0:60600"]
    assert reply.findtext(".//snmp:redir-port", namespaces=NS) == "60600"
    assert site.redirects() == ["eth1 . 161 : 60600"]
    assert snmp.answers(site.managers["red"], RED)
    client.edit(LISTEN.format(operation=' nc:operation="delete"', leaves=""))
    assert client.get_config().find(".//dyncfg:extraIpPorts", NS) is None
    assert site.redirects() == []


def test_configuration_by_netconf_is_there_after_a_restart(daemon, client):
    client.edit(port_edit(1161))
    daemon.stop()
    daemon.start()
    with Client(daemon.netconf_socket) as other:
        assert port_of(other) == "1161"


def test_candidate_is_in_force_when_it_is_committed(daemon, site, client):
    client.edit(port_edit(1161), target="candidate")
    assert (port_of(client), port_of(client, "candidate")) == ("161", "1161")
    assert snmp.answers(site.managers["default"], DEFAULT)
    client.rpc("<commit/>")
    assert port_of(client) == "1161"
    wait_until(lambda: snmp.answers(site.managers["default"], DEFAULT, port=1161),
               "the agent at its new port")


def test_discarded_candidate_is_gone(client):
    client.edit(port_edit(1161), target="candidate")
    client.rpc("<discard-changes/>")
    assert port_of(client, "candidate") == "161"


@pytest.mark.parametrize("target", ["running", "candidate"])
def test_refused_edit_changes_nothing(daemon, client, target):
    with pytest.raises(Refused) as refused:
        client.edit(port_edit(0), target=target)
    assert refused.value.tag == "invalid-value"
    assert refused.value.path == "/confd_dyncfg:confdConfig/confd_dyncfg:snmpAgent/confd_dyncfg:port"
    assert port_of(client, target) == "161"


def test_refused_by_the_models_with_path_and_reason(client):
    with pytest.raises(Refused) as refused:
        client.edit('<snmp xmlns="urn:snmp-app:snmp"><agent><listen><interface>'
                    "<name>l3-eth9</name><udp-port>161</udp-port></interface></listen></agent>"
                    "</snmp>")
    assert refused.value.path == ("/snmp:snmp/snmp:agent/snmp:listen/snmp:interface"
                                  "[snmp:name='l3-eth9']")
    assert "no L3 interface has the rest of it" in refused.value.message


def test_edit_of_what_the_system_writes_is_refused(client):
    client.edit(LISTEN.format(operation="", leaves="<udp-port>161</udp-port>"))
    with pytest.raises(Refused, match="only the system writes"):
        client.edit(LISTEN.format(operation="", leaves="<redir-port>61000</redir-port>"))


def test_edit_of_what_is_no_configuration_is_refused(client):
    for content in ("<nc:get/>",
                    f'<netconf-state xmlns="{NS["mon"]}"><sessions/></netconf-state>'):
        for target in ("running", "candidate"):
            with pytest.raises(Refused) as refused:
                client.edit(content, target=target)
            assert refused.value.tag == "unknown-element"
    assert port_of(client) == "161"


def address_edit(index, attributes=""):
    return ('<config xmlns="urn:snmp-app:config"><interface><l3><name>eth1</name><ipv6>'
            f'<address xmlns:yang="urn:ietf:params:xml:ns:yang:1" xmlns:c="urn:snmp-app:config"'
            f"{attributes}><index>{index}</index><ip>2001:db8::{index}/64</ip></address>"
            "</ipv6></l3></interface></config>")


def test_addresses_are_and_stay_in_the_operators_order(daemon, client):
    for index in (1, 2):
        client.edit(address_edit(index))
    client.edit(address_edit(3, """ yang:insert="before" yang:key="[c:index='2']\""""))
    client.edit(address_edit(2, ' yang:insert="first"'))
    with pytest.raises(Refused) as refused:
        client.edit(address_edit(1, """ yang:insert="after" yang:key="[c:index='9']\""""))
    assert refused.value.tag == "bad-attribute"
    daemon.stop()
    daemon.start()
    with Client(daemon.netconf_socket) as other:
        found = other.get_config().iterfind(".//{urn:snmp-app:config}index")
        assert [index.text for index in found] == ["2", "1", "3"]


def test_dry_run_checks_and_changes_nothing(client):
    client.edit(port_edit(1161), test_option="test-only")
    assert port_of(client) == "161"
    with pytest.raises(Refused, match="no L3 interface"):
        client.edit(LISTEN.replace("l3-eth1", "l3-eth9").format(
            operation="", leaves="<udp-port>161</udp-port>"), test_option="test-only")


def test_lock_keeps_other_sessions_out_until_its_session_ends(daemon, client):
    with Client(daemon.netconf_socket) as other:
        other.rpc("<lock><target><running/></target></lock>")
        for attempt in (lambda: client.edit(port_edit(1161)),
                        lambda: client.rpc("<lock><target><running/></target></lock>")):
            with pytest.raises(Refused) as refused:
                attempt()
            assert refused.value.tag in ("in-use", "lock-denied")
            assert refused.value.info["session-id"] == other.hello.findtext(
                "nc:session-id", namespaces=NS)
    wait_until(lambda: daemon.records("NETCONF session 2 ends"), "the other session's end")
    client.edit(port_edit(1161))
    assert port_of(client) == "1161"


def test_killed_session_is_closed(daemon, client):
    with Client(daemon.netconf_socket) as other:
        number = other.hello.findtext("nc:session-id", namespaces=NS)
        client.rpc(f"<kill-session><session-id>{number}</session-id></kill-session>")
        assert other.is_closed()


def test_clients_of_both_versions(daemon):
    for versions in (("1.0",), ("1.1",), ("1.0", "1.1")):
        with Client(daemon.netconf_socket, versions) as session:
            assert port_of(session) == "161"


def test_filters(client):
    subtree = ('<filter type="subtree"><confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent>'
               "<ip/></snmpAgent></confdConfig></filter>")
    xpath = ('<filter type="xpath" xmlns:d="urn:snmp-app:dyncfg" '
             'select="/d:confdConfig/d:snmpAgent/d:ip"/>')
    for filters in (subtree, xpath):
        agent = client.get_config(filters=filters).find(".//dyncfg:snmpAgent", NS)
        assert [element.tag.split("}")[1] for element in agent] == ["ip"]
        assert agent.findtext("dyncfg:ip", namespaces=NS) == DEFAULT


def test_state_of_the_server_itself(client):
    reply = client.get(f'<filter type="subtree"><netconf-state xmlns="{NS["mon"]}">'
                       "<sessions/><statistics/></netconf-state></filter>")
    assert reply.findtext(".//mon:session/mon:session-id", namespaces=NS) == "1"
    assert reply.findtext(".//mon:statistics/mon:in-sessions", namespaces=NS) == "1"


def test_nonsense_ends_its_own_session_only(daemon, client):
    for nonsense in (b"GET / HTTP/1.1\r\n\r\n]]>]]>", b"\x00" * 5000 + b"]]>]]>",
                     b"<hello/>]]>]]>", b"x" * 3000000):
        with Client(daemon.netconf_socket, versions=()) as other:
            other.receive()
            try:
                other.send_bytes(nonsense)
            except OSError:
                pass
            assert other.is_closed()
    for chunk in (b"\n#0\n", b"\n#18446744073709551615\n", b"\n#01\nx", b"\n#4294967295\n"):
        with Client(daemon.netconf_socket) as other:
            other.send_bytes(chunk)
            assert other.is_closed()
    assert port_of(client) == "161"


def test_requests_behind_each_other_are_answered_in_order(client):
    for number in range(50):
        client.send(f'<rpc xmlns="{BASE}" message-id="{number}"><get-config><source><running/>'
                    "</source></get-config></rpc>")
    for number in range(50):
        assert f'message-id="{number}"' in client.receive()


def test_socket_is_for_owner_and_group(daemon):
    assert stat.S_IMODE(os.stat(daemon.netconf_socket).st_mode) == 0o660
    daemon.stop()
    assert not os.path.exists(daemon.netconf_socket)


NCCLIENT = """
import json, sys
from ncclient import manager
from ncclient.operations import RPCError
user, key, port_edit = sys.argv[1:]
config = ('<nc:config xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0">' + port_edit
          + '</nc:config>')
seen = {}
with manager.connect(host="127.0.0.1", port=2830, username=user, key_filename=key,
                     hostkey_verify=False, allow_agent=False, look_for_keys=False,
                     timeout=20) as session:
    seen["capabilities"] = len(list(session.server_capabilities))
    session.validate("running")
    with session.locked("candidate"):
        session.edit_config(target="candidate", config=config)
        session.commit()
    try:
        session.edit_config(target="running", config=config.replace("1161", "0"))
    except RPCError as error:
        seen["refused"] = [error.tag, error.path.strip()]
    seen["running"] = str(session.get_config("running"))
    seen["state"] = "netconf-state" in str(session.get())
    seen["schema"] = "module snmp" in str(session.get_schema("snmp"))
print(json.dumps(seen))
"""


@pytest.fixture
def sshd(daemon, site):
    with ssh.Server(site.router, daemon.netconf_socket) as instance:
        yield instance


def test_ncclient_over_ssh(site, sshd):
    done = subprocess.run(
        site.router.command("/usr/bin/python3", "-c", NCCLIENT, sshd.user, sshd.key,
                            port_edit(1161)),
        capture_output=True, text=True, check=False, timeout=60)
    assert done.returncode == 0, done.stderr
    seen = json.loads(done.stdout)
    assert seen["capabilities"] > 10
    assert seen["refused"] == ["invalid-value", "/confd_dyncfg:confdConfig"
                               "/confd_dyncfg:snmpAgent/confd_dyncfg:port"]
    assert "<port>1161</port>" in seen["running"]
    assert seen["state"] and seen["schema"]


COMMUNITY = ("create /SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry -- "
             "snmpCommunityIndex=ops snmpCommunityName=ops snmpCommunitySecurityName=ops")


def test_yangcli_over_ssh(site, sshd, client):
    run = Operator(site.router, sshd).run
    assert "port 161" in run("sget-config source=running /confdConfig")
    assert run("replace /confdConfig/snmpAgent/port value=1161") == run("commit") == "ok"
    assert port_of(client) == "1161"
    # It checks the models' patterns itself, and in its own way.
    assert run(COMMUNITY) == run("commit") == "ok"
    assert snmp.get(site.managers["default"], DEFAULT, port=1161, community="ops")
    said = run("delete /internal/vrf-config/stringTOindex[name='red']") + run("commit")
    assert ("error-path /config:config/config:interface/config:l3[config:name='eth1']/config:vrf"
            in said), said
    assert "invalid reply" not in said, said
    assert "session-id" in run("sget /netconf-state/sessions")


def test_show_says_that_the_daemon_is_full_until_a_session_ends(daemon, build):
    """Root has all places here, the last one, too."""
    sessions = [Client(daemon.netconf_socket) for _ in range(16)]
    show = [os.path.join(build, "client/snmp-app-show"), "--socket", daemon.netconf_socket]
    environment = {**os.environ, "SNMP_APP_MODELS": os.path.join(TREE, "yang")}
    full = subprocess.run(show, env=environment, capture_output=True, text=True, check=False,
                          timeout=20)
    assert full.returncode == 1
    assert "it has as many sessions as it takes" in full.stderr
    sessions.pop().socket.close()
    wait_until(lambda: subprocess.run(show, env=environment, capture_output=True, check=False,
                                      timeout=20).returncode == 0, "a place")
    for session in sessions:
        session.socket.close()
