"""The stored configuration survives whatever happens to the process and the disk."""

import json
import os
import random
import signal

import pytest

from lab import snmp
from lab.daemon import configuration
from lab.network import run
from lab.wait import wait_until

ADDRESS = "198.51.100.1"


def stored_port(daemon):
    with open(daemon.running_file, encoding="utf-8") as file:
        agent = json.load(file)["confd_dyncfg:confdConfig"]["snmpAgent"]
    assert agent["ip"] == ADDRESS
    return agent["port"]


def test_start_takes_the_stored_configuration(daemon, manager):
    daemon.write_startup(configuration(ADDRESS, port=1161))
    daemon.start()
    daemon.kill()
    daemon.write_startup(configuration(ADDRESS, port=1162))
    daemon.start()
    assert snmp.get(manager, ADDRESS, port=1161)


def test_kill_at_any_moment_leaves_a_whole_configuration(daemon, manager):
    """Kills the daemon at a random byte count of its log after a change was asked for."""
    chance = random.Random(20261121)
    ports = [1000 + number for number in range(25)]
    daemon.write_startup(configuration(ADDRESS, port=ports[0]))
    daemon.start()
    committed = ports[0]
    for port in ports[1:]:
        daemon.write_startup(configuration(ADDRESS, port=port))
        since = daemon.mark()
        daemon.tell(signal.SIGHUP)
        seen = chance.randrange(0, 6)
        if seen:
            wait_until(lambda: daemon.mark() >= since + seen, "the commit's records")
        daemon.kill()
        now = stored_port(daemon)
        assert now in (committed, port)
        if seen:
            assert now == port, "a delivered commit was stored before"
        committed = now
        daemon.start()
        assert snmp.get(manager, ADDRESS, port=committed)
    assert [name for name in os.listdir(daemon.state) if "refused" in name] == []


def test_damaged_stored_file_is_kept_aside(daemon):
    damaged = '{"confd_dyncfg:confdConfig": {"snmpAgent": {"enab'
    with open(daemon.running_file, "w", encoding="utf-8") as file:
        file.write(damaged)
    daemon.write_startup(configuration(ADDRESS, enabled=False))
    daemon.start()
    daemon.wait_record(rf" fault .*{daemon.running_file}.*[Ll]ine")
    with open(daemon.running_file + ".refused", encoding="utf-8") as file:
        assert file.read() == damaged
    assert stored_port(daemon) == 161


@pytest.fixture
def small_disk(daemon):
    """A state folder with room for the first configuration and little more."""
    run("mount", "-t", "tmpfs", "-o", "size=8k", "tmpfs", daemon.state)
    yield daemon.state
    run("umount", "-l", daemon.state)


def many_entries(count):
    return configuration(ADDRESS, [f"{ADDRESS}:{10000 + number}" for number in range(count)])


def test_full_disk_refuses_the_commit(small_disk, daemon, manager):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    since = daemon.reload(many_entries(500))
    daemon.wait_record(rf" fault .*{small_disk}.*No space left on device", since)
    assert stored_port(daemon) == 161
    assert snmp.get(manager, ADDRESS)
    assert sorted(os.listdir(small_disk)) == ["history", "running.json"]
    since = daemon.reload(configuration(ADDRESS, port=1161))
    daemon.wait_record("in force", since)
    assert snmp.get(manager, ADDRESS, port=1161)


def test_read_only_folder_refuses_the_commit(small_disk, daemon, manager):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    run("mount", "-o", "remount,ro", small_disk)
    since = daemon.reload(configuration(ADDRESS, port=1161))
    daemon.wait_record(rf" fault .*{small_disk}.*Read-only file system", since)
    assert snmp.get(manager, ADDRESS)
    assert daemon.stop() == 0
