"""What operators see of the daemon at work."""

import json
import os
import re
import signal
import subprocess
import time

import pytest

from lab.daemon import TREE, Daemon, configuration, listening, merged, targets
from lab.netconf import NS, Client
from lab.site import DEFAULT, FAR, TABLES
from lab.wait import wait_until

pytestmark = pytest.mark.skipif(
    not os.path.exists("/usr/share/yuma/modules/ietf/ietf-netconf@2011-06-01.yang"),
    reason="the IETF's models are missing (package libyuma-base)")
MISSING = "198.51.100.9"


@pytest.fixture
def daemon(site, build):
    with Daemon(site.router, build) as instance:
        yield instance


def start(daemon, *parts, **options):
    daemon.write_startup(merged(configuration(DEFAULT, **options), *parts))
    daemon.start()


def rows(state, name, key):
    """The entries of a list by their key, each as a dictionary of its leaves."""
    entries = [{leaf.tag.split("}")[1]: leaf.text for leaf in entry}
               for entry in state.iterfind(f".//state:{name}", NS)]
    return {entry.pop(key): entry for entry in entries}


def seen(daemon):
    with Client(daemon.netconf_socket) as client:
        return client.state()


def test_bound_listener(daemon):
    start(daemon)
    daemon.wait_record("Forced ConfD's bind of SNMP, returned 0")
    listener = rows(seen(daemon), "listener", "endpoint")[f"{DEFAULT}:161"]
    assert listener.pop("since").startswith("20")
    assert listener == {"bound": "true", "tries": "1"}
    assert seen(daemon).findtext(".//state:retry-pending", namespaces=NS) == "false"


def test_listener_whose_address_does_not_exist_yet(daemon, site):
    start(daemon, extra=[f"{MISSING}:161"])
    daemon.wait_record("Starting timer for new bind retry")
    state = seen(daemon)
    listener = rows(state, "listener", "endpoint")[f"{MISSING}:161"]
    assert listener["bound"] == "false"
    assert listener["reason"] == "Cannot assign requested address"
    assert state.findtext(".//state:retry-pending", namespaces=NS) == "true"
    site.router.add_address("eth0", f"{MISSING}/24")
    daemon.wait_record("Forced ConfD's bind of SNMP, returned 0")
    state = seen(daemon)
    assert rows(state, "listener", "endpoint")[f"{MISSING}:161"]["bound"] == "true"
    assert int(state.findtext(".//state:retries", namespaces=NS)) >= 1
    assert state.findtext(".//state:retry-pending", namespaces=NS) == "false"


def test_listening_interfaces(daemon):
    start(daemon, listening({"eth1": 161, "eth0": 1161}, {"eth1": "red"}, TABLES))
    interfaces = rows(seen(daemon), "listening-interface", "name")
    assert interfaces["l3-eth1"] == {"vrf": "red", "kernel-name": "eth1", "udp-port": "161",
                                     "redir-port": "60600", "redirect": "true"}
    assert interfaces["l3-eth0"] == {"kernel-name": "eth0", "udp-port": "1161",
                                     "redirect": "false", "reason": "the interface is in no VRF"}
    daemon.reload(merged(configuration(DEFAULT, enabled=False),
                         listening({"eth1": 161}, {"eth1": "red"}, TABLES)))
    interfaces = rows(seen(daemon), "listening-interface", "name")
    assert interfaces["l3-eth1"]["reason"] == "the agent is disabled"


def test_targets(daemon):
    start(daemon, targets({"a": (FAR, 162, "red"), "b": (FAR, 163, None),
                           "c": ("2001:db8::9", 162, "red")}, TABLES))
    assert rows(seen(daemon), "target", "name") == {
        "a": {"address": FAR, "udp-port": "162", "vrf": "red", "rule": "true"},
        "b": {"address": FAR, "udp-port": "163", "rule": "false",
              "reason": "the target is in no VRF"},
        "c": {"address": "2001:db8::9", "udp-port": "162", "vrf": "red", "rule": "false",
              "reason": "targets with an IPv6 address get none"}}


def test_faults_are_kept(daemon):
    start(daemon)
    daemon.reload("{")
    state = seen(daemon)
    fault = state.findall(".//state:fault", NS)[-1]
    assert "start-up configuration refused" in fault.findtext("state:text", namespaces=NS)
    assert fault.findtext("state:code", namespaces=NS) == "0"


def test_program_and_agent(daemon):
    start(daemon)
    state = seen(daemon)
    with open(os.path.join(TREE, "CMakeLists.txt"), encoding="utf-8") as file:
        version = re.search(r"project\(snmp-app VERSION (\S+)", file.read()).group(1)
    assert state.findtext("state:version", namespaces=NS) == version
    assert int(state.findtext("state:uptime", namespaces=NS)) < 60
    wait_until(lambda: int(seen(daemon).findtext("state:uptime", namespaces=NS)) >= 1, "a second")
    assert state.findtext("state:agent/state:enabled", namespaces=NS) == "true"
    daemon.reload(configuration(DEFAULT, enabled=False))
    assert seen(daemon).findtext("state:agent/state:enabled", namespaces=NS) == "false"


def test_role_and_counters(daemon):
    start(daemon)
    assert seen(daemon).findtext("state:ha-role", namespaces=NS) == "unknown"
    for number, role in ((signal.SIGUSR1, "active"), (signal.SIGUSR2, "standby")):
        daemon.tell(number)
        wait_until(lambda role=role: seen(daemon).findtext("state:ha-role",
                                                           namespaces=NS) == role, role)
    before = int(seen(daemon).findtext(".//state:commits", namespaces=NS))
    daemon.reload(configuration(DEFAULT, communities=("public", "ops")))
    daemon.reload(configuration(DEFAULT, communities=("public", "ops")))
    assert int(seen(daemon).findtext(".//state:commits", namespaces=NS)) == before + 1


def test_what_is_seen_cannot_be_edited(daemon):
    start(daemon)
    with Client(daemon.netconf_socket) as client:
        with pytest.raises(Exception, match="snmp-state"):
            client.edit('<snmp-state xmlns="urn:snmp-app:state"><ha-role>active</ha-role>'
                        "</snmp-state>")


def show(daemon, build, *options, socket=None):
    """snmp-app-show as an operator runs it."""
    return subprocess.run(
        [os.path.join(build, "client/snmp-app-show"), "--socket", socket or daemon.netconf_socket,
         *options],
        capture_output=True, text=True, check=False, timeout=30,
        env={**os.environ, "SNMP_APP_MODELS": os.path.join(TREE, "yang")})


def test_show_prints_tables(daemon, build):
    start(daemon, listening({"eth1": 161}, {"eth1": "red"}, TABLES),
          targets({"noc": (FAR, 162, "red")}, TABLES))
    daemon.wait_record("Forced ConfD's bind of SNMP, returned 0")
    done = show(daemon, build)
    assert done.returncode == 0, done.stderr
    lines = [" ".join(line.split()) for line in done.stdout.splitlines()]
    assert any(line.startswith(f"{DEFAULT}:161 yes 20") for line in lines), done.stdout
    assert "l3-eth1 red eth1 161 60600 yes —" in lines
    assert f"noc {FAR} 162 red yes —" in lines
    assert lines[0].startswith("Role: unknown agent: enabled retry pending: no version: ")


def test_show_prints_json(daemon, build):
    start(daemon, targets({"noc": (FAR, 162, None)}, TABLES))
    done = show(daemon, build, "--json")
    state = json.loads(done.stdout)["snmp-app-state:snmp-state"]
    assert state["target"] == [{"name": "noc", "address": FAR, "udp-port": 162, "rule": False,
                                "reason": "the target is in no VRF"}]


def test_show_waits_ten_seconds_for_a_daemon_that_hangs(daemon, build):
    start(daemon)
    daemon.tell(signal.SIGSTOP)
    begin = time.monotonic()
    done = show(daemon, build)
    daemon.tell(signal.SIGCONT)
    assert (done.returncode, done.stdout) == (1, "")
    assert done.stderr == "snmp-app-show: the daemon has not answered within 10 s\n"
    assert time.monotonic() - begin < 20


@pytest.mark.parametrize("options", [[], ["--json"]])
def test_show_that_cannot_be_written_is_no_success(daemon, build, options):
    start(daemon)
    with open("/dev/full", "wb") as full:
        done = subprocess.run([os.path.join(build, "client/snmp-app-show"), *options, "--socket",
                               daemon.netconf_socket], stdout=full, stderr=subprocess.PIPE,
                              text=True, check=False, timeout=30,
                              env={**os.environ, "SNMP_APP_MODELS": os.path.join(TREE, "yang")})
    assert (done.returncode, done.stderr) == (1, "snmp-app-show: cannot write all of it\n")


def test_show_tells_what_it_is(build):
    done = subprocess.run([os.path.join(build, "client/snmp-app-show"), "--version"],
                          capture_output=True, text=True, check=True)
    assert done.stdout.split()[0] == "snmp-app-show"
    done = subprocess.run([os.path.join(build, "client/snmp-app-show"), "-h"],
                          capture_output=True, text=True, check=True)
    assert done.stdout.startswith("usage: snmp-app-show ")


def test_show_without_a_daemon_says_so(daemon, build, tmp_path):
    done = show(daemon, build, socket=str(tmp_path / "nowhere"))
    assert done.returncode == 1
    assert "cannot reach the daemon at" in done.stderr and "nowhere" in done.stderr
    assert show(daemon, build, "--colour").returncode == 2
    assert "usage:" in show(daemon, build, "--colour").stderr
