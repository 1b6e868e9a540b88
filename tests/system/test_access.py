"""Who may do what: users of the daemon's groups, of others, and the rules of a configuration."""

import errno
import os
import subprocess
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# pylint: disable=wrong-import-position
from lab.daemon import Daemon, configuration
from lab.netconf import NS, Client, Refused, port_edit
from lab.users import NOBODY, OPERATOR, READER, Groups, can_change_users, connect_as
from conftest import ROUTER_ADDRESS

pytestmark = [
    pytest.mark.skipif(not can_change_users(),
                       reason="processes cannot change their user in this namespace"),
    pytest.mark.skipif(
        not os.path.exists("/usr/share/yuma/modules/ietf/ietf-netconf@2011-06-01.yang"),
        reason="the IETF's models are missing (package libyuma-base)")]

USER = 64010
NACM = "urn:ietf:params:xml:ns:yang:ietf-netconf-acm"
NS = {**NS, "nacm": NACM, "community": "urn:snmp-app:community"}


@pytest.fixture
def daemon(manager, router, build, tmp_path):  # pylint: disable=unused-argument
    """One whose socket these users find, with a secret."""
    with Groups(tmp_path), Daemon(router, build) as instance:
        os.chmod(os.path.dirname(instance.runtime), 0o711)
        os.mkdir(instance.runtime, 0o755)
        instance.environment["SNMP_APP_NETCONF_GROUP"] = "snmp-app"
        instance.write_startup(configuration(ROUTER_ADDRESS, communities=("hush",)))
        instance.start()
        yield instance


def session(daemon, *groups):
    connection = connect_as(daemon.netconf_socket, USER, groups[0], groups[1:])
    return Client(daemon.netconf_socket, connection=connection)


def tag(client, operation):
    """What becomes of a request."""
    try:
        client.rpc(operation)
    except Refused as refused:
        return refused.tag
    return "ok"


LOCK = "<lock><target><running/></target></lock>"
KILL = "<kill-session><session-id>99</session-id></kill-session>"


def test_readers_see_all_but_communities_and_change_nothing(daemon):
    with session(daemon, NOBODY, READER) as reader:
        everything = reader.get()
        assert everything.find(".//dyncfg:ip", NS).text == ROUTER_ADDRESS
        assert everything.find(".//state:listener", NS) is not None
        assert everything.find(".//community:snmpCommunityEntry", NS) is None
        for operation in (LOCK, KILL, "<commit/>", "<discard-changes/>"):
            assert tag(reader, operation) == "access-denied"
        with pytest.raises(Refused, match="access-denied"):
            reader.edit(port_edit(1161))
        assert tag(reader, "<close-session/>") == "ok"


def test_operators_do_everything(daemon):
    with session(daemon, OPERATOR) as operator:
        assert operator.get_config().find(".//community:snmpCommunityName", NS).text == "hush"
        operator.edit(port_edit(1161))
        assert tag(operator, LOCK) == "ok"
        assert tag(operator, KILL) == "invalid-value"
    assert daemon.wait_record(rf"Commit by uid {USER} \(session 1, edit-config\)")


def test_who_is_in_neither_group_cannot_connect(daemon):
    with pytest.raises(OSError) as refused:
        session(daemon, NOBODY)
    assert refused.value.errno == errno.EACCES


def test_who_is_let_in_and_has_no_rights_may_end_the_session(router, build, tmp_path, manager):
    # pylint: disable=unused-argument
    with Groups(tmp_path), Daemon(router, build) as daemon:
        os.chmod(os.path.dirname(daemon.runtime), 0o711)
        os.mkdir(daemon.runtime, 0o755)
        daemon.environment["SNMP_APP_NETCONF_GROUP"] = "nogroup"
        daemon.start()
        with open("/etc/group", encoding="utf-8") as file:
            nogroup = next(int(line.split(":")[2]) for line in file if line.startswith("nogroup:"))
        with session(daemon, nogroup) as other:
            assert tag(other, "<get/>") == "access-denied"
            assert tag(other, "<get-config><source><running/></source></get-config>") == (
                "access-denied")
            assert tag(other, "<close-session/>") == "ok"


def show(daemon, build, *groups):
    return subprocess.run(
        ["setpriv", f"--reuid={USER}", f"--regid={groups[0]}", "--groups",
         ",".join(map(str, groups)), os.path.join(build, "client/snmp-app-show"), "--socket",
         daemon.netconf_socket],
        env={**os.environ, "SNMP_APP_MODELS": models(daemon)}, capture_output=True, text=True,
        check=False)


def models(daemon):
    """The models, where these users can read them."""
    copy = os.path.join(daemon.runtime, "yang")
    if not os.path.exists(copy):
        subprocess.run(["cp", "-r", os.path.join(os.path.dirname(__file__), "../../yang"), copy],
                       check=True)
        subprocess.run(["chmod", "-R", "a+rX", copy], check=True)
    return copy


def test_snmp_app_show_needs_the_group_of_readers(daemon, build):
    shown = show(daemon, build, READER)
    assert shown.returncode == 0, shown.stderr
    assert f"{ROUTER_ADDRESS}:161" in shown.stdout
    assert show(daemon, build, NOBODY).returncode != 0


RULES = f"""<nacm xmlns="{NACM}"><rule-list><name>ports</name><group>snmp-app-read</group>
<rule><name>port</name><path xmlns:d="urn:snmp-app:dyncfg">/d:confdConfig/d:snmpAgent/d:port</path>
<access-operations>create update</access-operations><action>permit</action></rule>
</rule-list></nacm>"""


def test_rules_of_the_configuration(daemon):
    with Client(daemon.netconf_socket) as root, session(daemon, READER) as user:
        root.edit(RULES)
        assert "ietf-netconf-acm:nacm" in open(daemon.running_file, encoding="utf-8").read()
        assert "/nacm" in daemon.wait_record("Commit by root")
        user.edit(port_edit(1161))
        with pytest.raises(Refused) as refused:
            user.edit('<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent><enabled>false</enabled>'
                      "</snmpAgent></confdConfig>")
        assert (refused.value.tag, refused.value.path) == (
            "access-denied", "/confd_dyncfg:confdConfig/confd_dyncfg:snmpAgent/confd_dyncfg:enabled")
        with session(daemon, OPERATOR) as operator:
            assert tag(operator, "<kill-session><session-id>1</session-id></kill-session>") == (
                "access-denied")
        state = root.get(f'<filter><nacm xmlns="{NACM}"/></filter>')
        assert state.find(".//nacm:denied-data-writes", NS).text == "1"
        assert state.find(".//nacm:denied-operations", NS).text == "1"
    daemon.stop()
    daemon.start()
    with session(daemon, READER) as user:
        user.edit(port_edit(161))


def test_refusals_are_recorded_once_in_a_minute_for_a_session(daemon):
    since = daemon.mark()
    with session(daemon, READER) as reader:
        for _ in range(3):
            assert tag(reader, LOCK) == "access-denied"
        reader.get()
    with session(daemon, READER) as reader:
        assert tag(reader, KILL) == "access-denied"
    daemon.wait_record(r"denied", since, count=2)
    assert [record.split(" Access ")[1] for record in daemon.records(" Access ", since)] == [
        f"of session 1 denied: uid {USER} may not lock.",
        f"of session 2 denied: uid {USER} may not kill-session."]


NOTIFICATION = "urn:ietf:params:xml:ns:netconf:notification:1.0"
NO_STARTS = f"""<nacm xmlns="{NACM}"><rule-list><name>quiet</name><group>snmp-app-read</group>
<rule><name>starts</name><module-name>ietf-netconf-notifications</module-name>
<notification-name>netconf-session-start</notification-name><action>deny</action></rule>
</rule-list></nacm>"""


def test_who_may_not_read_a_notification_is_not_told(daemon):
    with Client(daemon.netconf_socket) as root, session(daemon, READER) as user:
        root.edit(NO_STARTS)
        user.rpc(f'<create-subscription xmlns="{NOTIFICATION}"/>')
        with session(daemon, OPERATOR):
            pass
        assert "netconf-session-end" in user.receive()
        state = root.get(f'<filter><nacm xmlns="{NACM}"/></filter>')
        assert state.find(".//nacm:denied-notifications", NS).text == "1"
