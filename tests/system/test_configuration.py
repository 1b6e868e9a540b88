"""Bad start-up files: refused as a whole, with path and reason, and nothing is lost."""

import os
import signal

import pytest

from lab import snmp
from lab.daemon import configuration

ADDRESS = "198.51.100.1"


def agent(**leaves):
    return {"confd_dyncfg:confdConfig": {"snmpAgent": leaves}}


BAD = {
    "truncated": ('{"confd_dyncfg:confdConfig": {"snmpAgent": {"enabled": tr', r"[Ll]ine"),
    "not JSON": ("enabled=true\n", r"[Ll]ine"),
    "empty": ("", r"."),
    "wrong type": (agent(enabled="perhaps"), r"snmpAgent/enabled"),
    "unknown leaf": (agent(colour="blue"), r"colour"),
    "unknown module": ({"nowhere:thing": 1}, r"nowhere"),
    "port over 65535": (agent(port=65536), r"65536.*snmpAgent/port"),
    "address that is none": (agent(ip="198.51.100.256"), r"198\.51\.100\.256.*snmpAgent/ip"),
    "extra entry without port": (agent(extraIpPorts=["198.51.100.1"]), r"address:port.*extraIpPorts"),
    "extra entry with port 70000": (agent(extraIpPorts=["198.51.100.1:70000"]),
                                    r"address:port.*extraIpPorts"),
    "extra entry with a name": (agent(extraIpPorts=["router:161"]),
                                r"before the port.*extraIpPorts"),
}


@pytest.mark.parametrize("name", BAD)
def test_refused_at_reload(daemon, manager, name):
    content, reason = BAD[name]
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    with open(daemon.running_file, encoding="utf-8") as file:
        stored = file.read()
    since = daemon.reload(content)
    daemon.wait_record(rf" fault .*{daemon.startup_file}.*{reason}", since)
    with open(daemon.running_file, encoding="utf-8") as file:
        assert file.read() == stored
    assert snmp.get(manager, ADDRESS)


@pytest.mark.parametrize("name", BAD)
def test_first_start_falls_back_to_defaults(daemon, name):
    content, reason = BAD[name]
    daemon.write_startup(content)
    daemon.start()
    daemon.wait_record(rf" fault .*{daemon.startup_file}.*{reason}")
    daemon.wait_record("Agent is enabled: 0")
    assert os.listdir(daemon.state) == []
    assert daemon.stop() == 0


def test_missing_file_at_first_start(daemon):
    daemon.start()
    daemon.wait_record(f"There is no configuration yet; {daemon.startup_file} is read at SIGHUP.")
    daemon.wait_record("Agent is enabled: 0")
    assert not daemon.records(" fault ")


def test_missing_file_at_reload(daemon, manager):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    os.unlink(daemon.startup_file)
    since = daemon.mark()
    daemon.tell(signal.SIGHUP)
    daemon.wait_ready()
    daemon.wait_record(rf" fault .*{daemon.startup_file}: No such file or directory", since)
    assert snmp.get(manager, ADDRESS)


def test_same_file_again_changes_nothing(daemon, manager):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    since = daemon.reload(configuration(ADDRESS))
    daemon.wait_record("changes nothing", since)
    assert not daemon.records("Starting commit", since)
