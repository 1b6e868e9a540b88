"""Bad start-up files: refused as a whole, with path and reason, and nothing is lost."""

import os
import signal
import subprocess

import pytest

from lab import snmp
from lab.daemon import TREE, configuration

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
    "port over 65535": (agent(port=65536), r"line \d, .*/snmpAgent/port: expected 1 to 65535"),
    "address that is none": (agent(ip="198.51.100.256"),
                             r"line \d, .*/snmpAgent/ip: expected an IPv4 or IPv6 address"),
    "extra entry without port": (agent(extraIpPorts=["198.51.100.1"]),
                                 r"extraIpPorts.*address:port"),
    "extra entry with port 70000": (agent(extraIpPorts=["198.51.100.1:70000"]),
                                    r"extraIpPorts.*address:port"),
    "extra entry with a name": (agent(extraIpPorts=["router:161"]),
                                r"extraIpPorts.*before the port"),
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


def check(daemon, path):
    return subprocess.run(daemon.namespace.command(daemon.program, "--check", path),
                          env={**os.environ, "STATE_DIRECTORY": daemon.state,
                               "CONFIGURATION_DIRECTORY": daemon.configuration,
                               "SNMP_APP_MODELS": os.path.join(TREE, "yang")},
                          capture_output=True, text=True, check=False, timeout=20)


@pytest.mark.parametrize("name", BAD)
def test_check_says_what_a_start_would(daemon, name):
    content, _ = BAD[name]
    daemon.write_startup(content)
    done = check(daemon, daemon.startup_file)
    assert (done.returncode, done.stdout) == (1, "")
    daemon.start()
    fault = daemon.wait_record(" fault ")
    reason = fault.split("the running one stays: ")[1]
    # A record is one line.
    assert done.stderr.removesuffix("\n").replace("\n", "\\n") == f"snmp-app: {reason}"


def test_check_touches_nothing(daemon, tmp_path):
    daemon.write_startup(configuration(ADDRESS))
    done = check(daemon, daemon.startup_file)
    assert (done.returncode, done.stderr) == (0, "")
    assert done.stdout == f"{daemon.startup_file} can be taken\n"
    missing = check(daemon, str(tmp_path / "absent"))
    assert missing.returncode == 1 and "No such file or directory" in missing.stderr
    assert os.listdir(daemon.state) == []
    assert os.listdir(daemon.configuration) == [os.path.basename(daemon.startup_file)]


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
    daemon.wait_record(f"there is no configuration yet; {daemon.startup_file} is read at a reload.")
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
