"""What sessions are told of without asking: on the daemon's socket, and by a client that others wrote
over a real sshd."""

import datetime
import json
import os
import signal
import subprocess
import xml.etree.ElementTree as ET

import pytest

from lab import ssh
from lab.daemon import Daemon, configuration, listening, merged
from lab.netconf import NS, Client, Refused, port_edit
from lab.site import DEFAULT, TABLES
from lab.yangcli import Operator

STANDARD_MODELS = "/usr/share/yuma/modules/ietf/ietf-netconf@2011-06-01.yang"
pytestmark = pytest.mark.skipif(not os.path.exists(STANDARD_MODELS),
                                reason="the IETF's models are missing (package libyuma-base)")

NOTIFICATION = "urn:ietf:params:xml:ns:netconf:notification:1.0"
TOLD = {**NS,
        "n": NOTIFICATION,
        "ncn": "urn:ietf:params:xml:ns:yang:ietf-netconf-notifications",
        "manage": "urn:ietf:params:xml:ns:netmod:notification",
        "ev": "urn:snmp-app:events"}


class Subscriber(Client):
    """A session that is told of events."""

    def __init__(self, path, parameters="", **options):
        super().__init__(path, **options)
        self.rpc(f'<create-subscription xmlns="{NOTIFICATION}">{parameters}</create-subscription>')

    def next(self):
        """The next event: its element."""
        notification = ET.fromstring(self.receive())
        assert notification.tag == f"{{{NOTIFICATION}}}notification"
        time, event = notification
        assert datetime.datetime.fromisoformat(time.text.replace("Z", "+00:00"))
        return event

    def wait(self, name):
        """The next event of that name; others are passed over."""
        while True:
            event = self.next()
            if event.tag == "{%s}%s" % (TOLD[name.split(":")[0]], name.split(":")[1]):
                return event


@pytest.fixture
def daemon(site, build):
    with Daemon(site.router, build) as instance:
        instance.write_startup(merged(configuration(DEFAULT),
                                      listening({}, {"eth1": "red"}, TABLES)))
        instance.start()
        instance.wait_record("Forced ConfD's bind of SNMP, returned 0")
        yield instance


@pytest.fixture
def subscriber(daemon):
    with Subscriber(daemon.netconf_socket) as instance:
        yield instance


def now(seconds=0.0):
    """A time as requests have it, that many seconds from now."""
    time = datetime.datetime.now(datetime.timezone.utc) + datetime.timedelta(seconds=seconds)
    return time.isoformat(timespec="milliseconds").replace("+00:00", "Z")


def names(events):
    return [event.tag.split("}")[1] for event in events]


def test_a_change_is_told_with_who_made_it_and_what_follows(subscriber, client):
    client.edit(port_edit(1161))
    change = subscriber.wait("ncn:netconf-config-change")
    assert change.findtext("ncn:changed-by/ncn:session-id", namespaces=TOLD) == "2"
    assert change.findtext("ncn:changed-by/ncn:username", namespaces=TOLD)
    assert change.findtext("ncn:edit/ncn:target", namespaces=TOLD) == (
        "/confd_dyncfg:confdConfig/confd_dyncfg:snmpAgent/confd_dyncfg:port")
    assert change.findtext("ncn:edit/ncn:operation", namespaces=TOLD) == "replace"
    bound = subscriber.wait("ev:listeners-bound")
    assert bound.findtext("ev:listener/ev:endpoint", namespaces=TOLD) == f"{DEFAULT}:1161"
    gone = subscriber.wait("ev:listeners-unbound")
    assert gone.findtext("ev:listener/ev:endpoint", namespaces=TOLD) == f"{DEFAULT}:161"
    assert "not configured" in gone.findtext("ev:listener/ev:reason", namespaces=TOLD)


def test_a_refused_change_is_not_told(subscriber, client):
    with pytest.raises(Refused):
        client.edit(port_edit(0))
    client.edit(port_edit(1161))
    assert names([subscriber.next(), subscriber.next()]) == ["netconf-session-start",
                                                             "netconf-config-change"]


def test_secrets_are_not_told(subscriber, client):
    client.edit('<SNMP-COMMUNITY-MIB xmlns="urn:snmp-app:community"><snmpCommunityTable>'
                "<snmpCommunityEntry><snmpCommunityIndex>hidden</snmpCommunityIndex>"
                "<snmpCommunityName>hidden</snmpCommunityName>"
                "<snmpCommunitySecurityName>hidden</snmpCommunitySecurityName>"
                "</snmpCommunityEntry></snmpCommunityTable></SNMP-COMMUNITY-MIB>")
    change = subscriber.wait("ncn:netconf-config-change")
    text = ET.tostring(change, encoding="unicode")
    assert "snmpCommunityTable" in text
    assert "hidden" not in text


def test_a_listener_that_cannot_be_bound_and_then_can(subscriber, client, site):
    taken = "198.51.100.77"
    client.edit('<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent>'
                f"<extraIpPorts>{taken}:161</extraIpPorts></snmpAgent></confdConfig>")
    refused = subscriber.wait("ev:listeners-unbound")
    assert refused.findtext("ev:listener/ev:endpoint", namespaces=TOLD) == f"{taken}:161"
    assert "assign" in refused.findtext("ev:listener/ev:reason", namespaces=TOLD)
    site.router.add_address("lo", f"{taken}/32")
    bound = subscriber.wait("ev:listeners-bound")
    assert bound.findtext("ev:listener/ev:endpoint", namespaces=TOLD) == f"{taken}:161"


def test_role_and_faults(daemon, subscriber):
    daemon.process.send_signal(signal.SIGUSR1)
    role = subscriber.wait("ev:role-changed")
    assert role.findtext("ev:ha-role", namespaces=TOLD) == "active"
    daemon.write_startup("nonsense")
    daemon.process.send_signal(signal.SIGHUP)
    fault = subscriber.wait("ev:fault-raised")
    assert "startup.json" in fault.findtext("ev:text", namespaces=TOLD)


def test_what_was_before_is_replayed(daemon, client):
    client.edit(port_edit(1161))
    parameters = f"<startTime>{now(-3600)}</startTime><stopTime>{now()}</stopTime>"
    with Subscriber(daemon.netconf_socket, parameters) as late:
        events = [late.next()]
        while not events[-1].tag.endswith("}notificationComplete"):
            events.append(late.next())
        assert names(events)[-2:] == ["replayComplete", "notificationComplete"]
        assert "netconf-config-change" in names(events)
        assert names(events)[0] == "netconf-config-change", "the first start"
        # The session is one as any other again.
        assert late.get_config() is not None


def test_a_filter_by_xpath(daemon, client):
    parameters = (f'<filter type="xpath" xmlns:e="urn:snmp-app:events" '
                  'select="/e:role-changed[e:ha-role=\'standby\']"/>')
    with Subscriber(daemon.netconf_socket, parameters) as chosen:
        daemon.process.send_signal(signal.SIGUSR1)
        client.edit(port_edit(1161))
        daemon.process.send_signal(signal.SIGUSR2)
        event = chosen.next()
        assert event.findtext("ev:ha-role", namespaces=TOLD) == "standby"


def test_the_old_framing(daemon):
    with Subscriber(daemon.netconf_socket, versions=("1.0",)) as old:
        daemon.process.send_signal(signal.SIGUSR1)
        assert old.wait("ev:role-changed") is not None
        assert old.get_config() is not None


def test_streams_and_capabilities(client):
    told = [element.text for element in client.hello.iterfind(".//nc:capability", NS)]
    assert "urn:ietf:params:netconf:capability:notification:1.0" in told
    assert "urn:ietf:params:netconf:capability:interleave:1.0" in told
    streams = client.get('<filter><netconf xmlns="urn:ietf:params:xml:ns:netmod:notification"/>'
                         "</filter>")
    stream = streams.find(".//manage:stream", TOLD)
    assert stream.findtext("manage:name", namespaces=TOLD) == "NETCONF"
    assert stream.findtext("manage:replaySupport", namespaces=TOLD) == "true"
    assert stream.findtext("manage:replayLogCreationTime", namespaces=TOLD)


@pytest.mark.parametrize("parameters, tag, element", [
    ("<stopTime>{later}</stopTime>", "missing-element", "startTime"),
    ("<startTime>{later}</startTime>", "bad-element", "startTime"),
    ("<startTime>{now}</startTime><stopTime>{before}</stopTime>", "bad-element", "stopTime"),
    ("<stream>other</stream>", "invalid-value", "stream")])
def test_subscriptions_that_cannot_be(daemon, client, parameters, tag, element):
    times = {"now": now(), "before": now(-60), "later": now(60)}
    with pytest.raises(Refused) as refused:
        Subscriber(daemon.netconf_socket, parameters.format(**times))
    assert refused.value.tag == tag
    assert refused.value.info["bad-element"] == element
    assert client.get_config() is not None


NCCLIENT = """
import json, sys
from ncclient import manager
user, key, port_edit = sys.argv[1:]
config = ('<nc:config xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0">' + port_edit
          + '</nc:config>')
with manager.connect(host="127.0.0.1", port=2830, username=user, key_filename=key,
                     hostkey_verify=False, allow_agent=False, look_for_keys=False,
                     timeout=20) as session:
    # In the operation's own namespace, which this client leaves to its user.
    session.create_subscription(filter='<filter type="subtree" xmlns='
        '"urn:ietf:params:xml:ns:netconf:notification:1.0"><netconf-config-change xmlns='
        '"urn:ietf:params:xml:ns:yang:ietf-netconf-notifications"/></filter>')
    session.edit_config(target="running", config=config)
    told = session.take_notification(timeout=20)
    session.get_config("running")
print(json.dumps(told.notification_xml))
"""


def test_ncclient_over_ssh(daemon, site):
    with ssh.Server(site.router, daemon.netconf_socket) as sshd:
        done = subprocess.run(
            site.router.command("/usr/bin/python3", "-c", NCCLIENT, sshd.user, sshd.key,
                                port_edit(1161)),
            capture_output=True, text=True, check=False, timeout=60)
    assert done.returncode == 0, done.stderr
    assert "confd_dyncfg:port" in json.loads(done.stdout)


def test_yangcli_over_ssh(daemon, site):
    """It knows the operation from a model of its own."""
    with ssh.Server(site.router, daemon.netconf_socket) as sshd:
        run = Operator(site.router, sshd).run
        assert run("create-subscription") == "ok"
        said = run(f"create-subscription startTime={now(3600)}")
        assert "bad-element" in said, said
