"""What was in force is kept, who put it there can be seen, and it can be taken back; so can what a
reload replaces. The start-up datastore is a file that a start takes."""

import getpass
import glob
import json
import os
import re
import signal
import stat

import pytest

from lab import snmp
from lab.daemon import Daemon, configuration, listening, merged
from lab.netconf import NS, Client, Refused, port_edit
from lab.network import run
from lab.site import DEFAULT, RED, TABLES
from lab.wait import wait_until

ADDRESS = "198.51.100.1"
FILTER = '<filter type="subtree"><history xmlns="urn:snmp-app:history"/></filter>'


def kept(client):
    """The leafs of each configuration of the history."""
    return [{leaf.tag.split("}")[1]: leaf.text for leaf in entry}
            for entry in client.get(FILTER).iterfind(".//history:configuration", NS)]


def numbers(client):
    return [int(entry["number"]) for entry in kept(client)]


def roll_back(client, number, target="running"):
    return client.rpc(f'<rollback xmlns="urn:snmp-app:history"><number>{number}</number>'
                      f"<target>{target}</target></rollback>")


def port(client, source="running"):
    return client.get_config(source).findtext(".//dyncfg:port", namespaces=NS)


def configuration_file(daemon, number):
    return os.path.join(daemon.state, "history", f"{number}.json")


@pytest.fixture
def daemon(manager, router, build):
    """Its configurations 1 and 2 have the ports 161 and 1161."""
    with Daemon(router, build) as instance:
        instance.write_startup(configuration(ADDRESS))
        instance.start()
        with Client(instance.netconf_socket) as session:
            session.edit(port_edit(1161))
        yield instance


def test_each_commit_is_kept_with_who_when_and_what(daemon, client):
    first, second = kept(client)
    assert first["number"] == "1" and first["operation"] == "first start"
    assert "user" not in first and "session" not in first
    assert re.fullmatch(r"\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d[+-]\d\d:\d\d", first["time"])
    time = second.pop("time")
    assert second == {"number": "2", "user": getpass.getuser(), "session": "1",
                      "operation": "edit-config", "changes": "set /confdConfig/snmpAgent/port"}
    assert time >= first["time"]


def test_it_is_the_daemons_alone_and_hides_communities(daemon, client):
    client.edit('<SNMP-COMMUNITY-MIB xmlns="urn:snmp-app:community"><snmpCommunityTable>'
                "<snmpCommunityEntry><snmpCommunityIndex>very-secret</snmpCommunityIndex>"
                "<snmpCommunityName>very-secret</snmpCommunityName>"
                "<snmpCommunitySecurityName>public</snmpCommunitySecurityName>"
                "</snmpCommunityEntry></snmpCommunityTable></SNMP-COMMUNITY-MIB>")
    assert "very-secret" not in str(kept(client))
    assert "snmpCommunityEntry{...}" in kept(client)[-1]["changes"]
    files = glob.glob(os.path.join(daemon.state, "history", "*"))
    assert len(files) == 6
    assert {stat.S_IMODE(os.stat(path).st_mode) for path in files} == {0o600}
    assert stat.S_IMODE(os.stat(os.path.join(daemon.state, "history")).st_mode) == 0o700
    commits = [path for path in files if path.endswith(".commit.json")]
    assert len(commits) == 3
    for path in commits:
        with open(path, encoding="utf-8") as file:
            assert "very-secret" not in file.read()


def test_the_last_fifty_are_kept_and_the_oldest_can_be_taken_back(daemon, client):
    for number in range(3, 53):
        client.edit(port_edit(2000 + number))
    assert numbers(client) == list(range(3, 53))
    assert len(glob.glob(os.path.join(daemon.state, "history", "*"))) == 100
    with pytest.raises(Refused) as refused:
        roll_back(client, 2)
    assert refused.value.tag == "invalid-value"
    assert refused.value.message == "the history has no configuration 2"
    roll_back(client, 3)
    assert port(client) == "2003"
    last = kept(client)[-1]
    assert (last["number"], last["operation"], last["user"]) == (
        "53", "rollback to 3", getpass.getuser())


def test_a_rollback_is_a_commit(daemon, client, manager):
    since = daemon.mark()
    roll_back(client, 1)
    assert snmp.get(manager, ADDRESS)
    daemon.wait_record(r"Commit by \S+ \(session 2, rollback to 1\) in \d+ ms: "
                       r"set /confdConfig/snmpAgent/port", since)
    assert numbers(client) == [1, 2, 3]


def test_a_rollback_to_the_candidate_can_be_looked_at_and_confirmed(daemon, client):
    roll_back(client, 1, "candidate")
    assert (port(client), port(client, "candidate")) == ("1161", "161")
    client.rpc("<commit><confirmed/></commit>")
    assert port(client) == "161"
    with pytest.raises(Refused) as refused:
        roll_back(client, 2)
    assert refused.value.tag == "in-use"
    client.rpc("<cancel-commit/>")
    assert port(client) == "1161"


def test_what_a_reload_replaces_can_be_taken_back(daemon, client, manager):
    daemon.reload(configuration(ADDRESS, port=1162))
    assert snmp.get(manager, ADDRESS, port=1162)
    assert [entry["operation"] for entry in kept(client)] == ["first start", "edit-config",
                                                              "reload"]
    roll_back(client, 2)
    assert port(client) == "1161"
    assert snmp.get(manager, ADDRESS, port=1161)


def test_a_restart_keeps_it(daemon, client):
    before = kept(client)
    daemon.kill()
    since = daemon.mark()
    daemon.start()
    assert not daemon.records(" fault ", since)
    with Client(daemon.netconf_socket) as session:
        assert kept(session) == before
        roll_back(session, 1)
        assert port(session) == "161"
        assert numbers(session) == [1, 2, 3]


def test_what_is_found_at_a_start_is_kept(daemon):
    """Of an earlier release, or put there by somebody."""
    daemon.stop()
    os.unlink(daemon.running_file)
    with open(daemon.running_file, "w", encoding="utf-8") as file:
        json.dump(configuration(ADDRESS, port=1163), file)
    daemon.start()
    with Client(daemon.netconf_socket) as session:
        assert kept(session)[-1]["operation"] == "found at a start"
        session.edit(port_edit(1164))
        roll_back(session, 3)
        assert port(session) == "1163"


def test_commits_that_are_taken_back_are_kept(daemon, client):
    def operation():
        with Client(daemon.netconf_socket) as session:
            return kept(session)[-1]["operation"]

    client.edit(port_edit(1162), target="candidate")
    client.rpc("<commit><confirmed/><confirm-timeout>1</confirm-timeout></commit>")
    wait_until(lambda: operation() == "taking back a commit: not confirmed in time", "the end")
    client.edit(port_edit(1162), target="candidate")
    client.rpc("<commit><confirmed/></commit>")
    daemon.kill()
    daemon.start()
    assert operation() == "taking back a commit: not confirmed before the end"


def test_a_rollback_that_is_refused_changes_nothing(daemon, client):
    with open(configuration_file(daemon, 1), encoding="utf-8") as file:
        good = file.read()

    def refuses(tag, reason):
        with pytest.raises(Refused) as refused:
            roll_back(client, 1)
        assert refused.value.tag == tag
        assert reason in refused.value.message
        assert port(client) == "1161"
        assert numbers(client) == [1, 2]

    for text, reason in ((good.replace('"enabled"', '"colour"'), "colour"), (good[:40], "ine "),
                         (good.replace('"161"', "161").replace("161", "0", 1), "port")):
        with open(configuration_file(daemon, 1), "w", encoding="utf-8") as file:
            file.write(text)
        refuses("operation-failed", reason)
    with Client(daemon.netconf_socket) as other:
        other.rpc("<lock><target><running/></target></lock>")
        refuses("in-use", "has the lock")
    os.unlink(configuration_file(daemon, 1))
    refuses("operation-failed", "No such file or directory")


def test_a_spoilt_one_is_left_out_and_told(daemon):
    daemon.stop()
    with open(os.path.join(daemon.state, "history", "1.commit.json"), "w", encoding="utf-8"):
        pass
    daemon.start()
    daemon.wait_record(r" fault .*the history in \S+/history leaves out: 1, ")
    with Client(daemon.netconf_socket) as session:
        assert numbers(session) == [2]
        with pytest.raises(Refused):
            roll_back(session, 1)
        session.edit(port_edit(1162))
        roll_back(session, 2)
        assert port(session) == "1161"


def mounted(folder, size):
    os.makedirs(folder, exist_ok=True)
    run("mount", "-t", "tmpfs", "-o", f"size={size}", "tmpfs", folder)
    return folder


@pytest.fixture
def full_history(router, manager, build):
    """A daemon whose history has a disk of its own, which is too small."""
    with Daemon(router, build) as instance:
        folder = mounted(os.path.join(instance.state, "history"), "4k")
        instance.write_startup(configuration(ADDRESS))
        instance.start()
        yield instance
        instance.stop()
        run("umount", "-l", folder)


def test_a_full_disk_of_the_history_refuses_no_commit_and_is_made_up_for(full_history):
    daemon = full_history
    daemon.wait_record(" fault .*is not in the history, and tried again .*No space left on device")
    with Client(daemon.netconf_socket) as session:
        session.edit(port_edit(1161))
        session.edit(port_edit(1162))
        assert port(session) == "1162"
        assert numbers(session) == []
        assert len(daemon.records(" fault .*history")) == 1
        run("mount", "-o", "remount,size=1m", os.path.join(daemon.state, "history"))
        daemon.wait_record("Configurations are kept in .* again", seconds=40)
        assert kept(session)[-1]["operation"] == "edit-config"
        number = numbers(session)[-1]
        session.edit(port_edit(1163))
        roll_back(session, number)
        assert port(session) == "1162"


@pytest.fixture
def small_disk(router, manager, build):
    """A daemon whose state has room for a few small files."""
    with Daemon(router, build) as instance:
        mounted(instance.state, "24k")
        instance.write_startup(configuration(ADDRESS))
        instance.start()
        yield instance
        instance.stop()
        run("umount", "-l", instance.state)


def test_the_history_gives_way_to_what_is_in_force(small_disk):
    with Client(small_disk.netconf_socket) as session:
        for number in range(2, 12):
            session.edit(port_edit(1000 + number))
        assert port(session) == "1011"
        last = numbers(session)
        assert last[-1] == 11 and 1 < len(last) < 5
        assert small_disk.records("No room: the 1 oldest configurations of the history go")
        assert not small_disk.records(" fault ")
        roll_back(session, last[0])
        assert port(session) == str(1000 + last[0])


def test_a_listening_interface_comes_back_with_its_redirect(site, build):
    with Daemon(site.router, build) as daemon:
        daemon.write_startup(merged(configuration(DEFAULT),
                                    listening({"eth1": 161}, {"eth1": "red"}, TABLES)))
        daemon.start()
        with Client(daemon.netconf_socket) as session:
            session.edit('<snmp xmlns="urn:snmp-app:snmp"><agent><listen>'
                         '<interface nc:operation="delete"><name>l3-eth1</name></interface>'
                         "</listen></agent></snmp>")
            assert site.redirects() == []
            roll_back(session, 1)
            assert site.redirects() == ["eth1 . 161 : 60600"]
            assert snmp.answers(site.managers["red"], RED)
            extra = session.get_config().findall(".//dyncfg:extraIpPorts", NS)
            assert [entry.text for entry in extra] == ["0.0.0.0:60600"]


def copy(client, target, source):
    return client.rpc(f"<copy-config><target><{target}/></target><source><{source}/></source>"
                      "</copy-config>")


def test_a_copy_to_startup_is_what_a_first_start_takes(daemon, client):
    capabilities = {element.text for element in client.hello.iter(f"{{{NS['nc']}}}capability")}
    assert "urn:ietf:params:netconf:capability:startup:1.0" in capabilities
    copy(client, "startup", "running")
    client.edit(port_edit(1162))
    assert port(client, "startup") == "1161"
    assert os.listdir(daemon.configuration) == [os.path.basename(daemon.startup_file)]
    daemon.stop()
    os.unlink(daemon.running_file)
    daemon.start()
    with Client(daemon.netconf_socket) as session:
        assert port(session) == "1161"
        assert kept(session)[-1]["operation"] == "first start"


def test_a_copy_to_startup_is_what_a_reload_takes(daemon, client):
    copy(client, "startup", "running")
    client.edit(port_edit(1162))
    daemon.tell(signal.SIGHUP)
    daemon.wait_ready()
    assert port(client) == "1161"


def test_startup_is_deleted_locked_and_validated(daemon, client):
    client.rpc("<validate><source><startup/></source></validate>")
    client.rpc("<lock><target><startup/></target></lock>")
    with Client(daemon.netconf_socket) as other:
        with pytest.raises(Refused) as refused:
            copy(other, "startup", "running")
        assert refused.value.tag == "in-use"
    client.rpc("<delete-config><target><startup/></target></delete-config>")
    assert not os.path.exists(daemon.startup_file)
    assert port(client) == "1161"
    with pytest.raises(Refused) as refused:
        client.edit(port_edit(1162), target="startup")
    assert refused.value.tag == "unknown-element"


@pytest.fixture
def read_only_configuration(router, manager, build):
    """A daemon whose start-up file cannot be written."""
    with Daemon(router, build) as instance:
        mounted(instance.configuration, "64k")
        instance.write_startup(configuration(ADDRESS))
        run("mount", "-o", "remount,ro", instance.configuration)
        instance.start()
        yield instance
        instance.stop()
        run("umount", "-l", instance.configuration)


def test_a_startup_file_that_cannot_be_written_is_told(read_only_configuration):
    with Client(read_only_configuration.netconf_socket) as session:
        session.edit(port_edit(1161))
        with pytest.raises(Refused) as refused:
            copy(session, "startup", "running")
        assert refused.value.tag == "operation-failed"
        assert refused.value.message == (
            f"cannot create {read_only_configuration.startup_file}.tmp: Read-only file system")
        assert port(session, "startup") == "161"
