"""snmp-app-show as operators, monitors and shells use it."""

import json
import os
import shutil
import signal
import subprocess

import pytest

from lab import metrics
from lab.daemon import TREE, Daemon, configuration, listening, merged, targets
from lab.netconf import Client
from lab.site import DEFAULT, FAR, TABLES
from lab.terminal import Terminal
from lab.wait import wait_until

pytestmark = pytest.mark.skipif(
    not os.path.exists("/usr/share/yuma/modules/ietf/ietf-netconf@2011-06-01.yang"),
    reason="the IETF's models are missing (package libyuma-base)")
MISSING = "198.51.100.9:161"
ESCAPE = "\x1b["
EMPTY_SCREEN = "\x1b[H\x1b[2J"


@pytest.fixture(name="daemon")
def running_daemon(site, build):
    """One with a bound and an unbound address, two interfaces and three targets."""
    parts = [listening({"eth1": 161, "eth0": 1161}, {"eth1": "red"}, TABLES),
             targets({"noc": (FAR, 162, "red"), "main": (FAR, 163, None),
                      "six": ("2001:db8::9", 162, "red")}, TABLES)]
    with Daemon(site.router, build) as instance:
        instance.write_startup(merged(configuration(DEFAULT), *parts))
        instance.start()
        instance.wait_record("Forced ConfD's bind of SNMP, returned 0")
        instance.reload(merged(configuration(DEFAULT, extra=[MISSING]), *parts))
        instance.wait_record("Starting timer for new bind retry")
        yield instance


def environment(**more):
    return {**{name: value for name, value in os.environ.items() if name != "NO_COLOR"},
            "SNMP_APP_MODELS": os.path.join(TREE, "yang"), "TERM": "xterm", **more}


def command(daemon, build, *words):
    return [os.path.join(build, "client/snmp-app-show"), "--socket", daemon.netconf_socket, *words]


def show(daemon, build, *words):
    return subprocess.run(command(daemon, build, *words), capture_output=True, text=True,
                          check=False, timeout=30, env=environment())


def lines_of(text):
    return [" ".join(line.split()) for line in text.splitlines()]


def test_summary_tells_version_uptime_agent_and_sessions(daemon, build):
    with Client(daemon.netconf_socket):
        lines = lines_of(show(daemon, build).stdout)
    with open(os.path.join(TREE, "CMakeLists.txt"), encoding="utf-8") as file:
        version = file.read().split("VERSION ")[2].split()[0]
    assert lines[0].startswith("Role: unknown agent: enabled retry pending: yes "
                               f"version: {version} up: ")
    assert lines[0].endswith(" NETCONF sessions: 1")
    assert any(line.startswith("1 root ") or line.split()[0] == "1" for line in
               lines[lines.index("NETCONF sessions") + 2:])


def test_tables_tell_targets_and_no_fault_is_a_dash(daemon, build):
    lines = lines_of(show(daemon, build).stdout)
    assert f"noc {FAR} 162 red yes —" in lines
    assert f"main {FAR} 163 — — the target is in no VRF" in lines
    assert "six 2001:db8::9 162 red no targets with an IPv6 address get none" in lines
    assert "l3-eth1 red eth1 161 60600 yes —" in lines
    assert "l3-eth0 — eth0 1161 — — the interface is in no VRF" in lines


@pytest.mark.parametrize("words,status,said", [
    (["target", "noc"], 0, ""),
    (["target", "main"], 0, ""),
    (["target", "six"], 3, "snmp-app-show: target six is not in force\n"),
    (["target", "noc", "absent"], 3, "snmp-app-show: there is no target absent\n"),
    (["target"], 3, "snmp-app-show: target six is not in force\n"),
    (["interface", "l3-eth1"], 0, ""),
    (["interface"], 0, ""),
    (["interface", "l3-eth9"], 3, "snmp-app-show: there is no interface l3-eth9\n"),
    (["listener", f"{DEFAULT}:161"], 0, ""),
    (["listener", MISSING], 3, f"snmp-app-show: listener {MISSING} is not in force\n"),
    (["--json", "target", "absent"], 3, "snmp-app-show: there is no target absent\n"),
    (["listeners"], 2, None),
])
def test_what_is_asked_for_decides_the_status(daemon, build, words, status, said):
    done = show(daemon, build, *words)
    if said is None:
        said = done.stderr if done.stderr.startswith("usage: ") else "the usage"
    assert (done.returncode, done.stderr) == (status, said)


def test_a_name_shows_that_row_alone(daemon, build):
    lines = lines_of(show(daemon, build, "target", "noc").stdout)
    assert lines == ["Notification targets", "name address port VRF routing rule why not",
                     f"noc {FAR} 162 red yes —"]
    state = json.loads(show(daemon, build, "--json", "target", "noc").stdout)
    assert [row["name"] for row in state["snmp-app-state:snmp-state"]["target"]] == ["noc"]


def test_colours_are_for_terminals_alone(daemon, build):
    assert ESCAPE not in show(daemon, build).stdout
    with Terminal(command(daemon, build), environment()) as terminal:
        assert terminal.read_all() == 0
        assert f"{ESCAPE}1mNotification targets{ESCAPE}0m" in terminal.text
        assert f"{ESCAPE}31mno{ESCAPE}0m" in terminal.text
    for variable in ({"NO_COLOR": "1"}, {"TERM": "dumb"}):
        with Terminal(command(daemon, build), environment(**variable)) as terminal:
            assert terminal.read_all() == 0
            assert "Notification targets" in terminal.text
            assert ESCAPE not in terminal.text
    with Terminal(command(daemon, build), environment(NO_COLOR="")) as terminal:
        assert terminal.read_all() == 0
        assert ESCAPE in terminal.text


def test_watch_draws_anew_and_ends_by_ctrl_c(daemon, build):
    with Terminal(command(daemon, build, "--watch=1"), environment()) as terminal:
        terminal.read_until(lambda text: text.count(EMPTY_SCREEN) >= 2, "two pictures")
        assert terminal.text.startswith(EMPTY_SCREEN)
        daemon.stop()
        terminal.read_until(lambda text: "cannot reach the daemon" in text, "its absence")
        daemon.start()
        seen = terminal.text.count("Role: ")
        terminal.read_until(lambda text: text.count("Role: ") > seen, "the next daemon")
        terminal.process.send_signal(signal.SIGINT)
        assert terminal.read_all() == 0


def test_watch_into_a_pipe_clears_nothing(daemon, build):
    with subprocess.Popen(command(daemon, build, "--watch=1", "target", "noc"), text=True,
                          stdout=subprocess.PIPE, env=environment()) as process:
        try:
            text = "".join(process.stdout.readline() for _ in range(7))
            process.send_signal(signal.SIGINT)
            assert process.wait(timeout=10) == 0
        finally:
            process.kill()
    assert ESCAPE not in text
    assert lines_of(text)[0::4] == ["Notification targets", "Notification targets"]
    assert lines_of(text)[3] == ""


def test_metrics_have_the_figures(daemon, build):
    with Client(daemon.netconf_socket):
        done = show(daemon, build, "--prometheus")
    assert (done.returncode, done.stderr) == (0, "")
    found = metrics.parse(done.stdout)
    assert found["snmp_app_netconf_sessions"] == {(): 1}
    assert found["snmp_app_agent_enabled"] == {(): 1}
    assert found["snmp_app_target_rule"] == {
        (("target", "noc"), ("address", FAR), ("port", "162"), ("vrf", "red")): 1,
        (("target", "six"), ("address", "2001:db8::9"), ("port", "162"), ("vrf", "red")): 0}
    assert found["snmp_app_interface_redirect"] == {
        (("interface", "l3-eth1"), ("vrf", "red"), ("kernel_name", "eth1"), ("port", "161"),
         ("redirect_port", "60600")): 1}
    assert found["snmp_app_listener_bound"][(("address", MISSING),)] == 0
    assert found["snmp_app_ha_role"][(("role", "unknown"),)] == 1


@pytest.mark.parametrize("text", [
    "a 1\n", "# HELP a b\n# TYPE a gauge\na 1", "# HELP a b\n# TYPE a gauge\n",
    "# HELP a b\n# TYPE a gauge\na 1\na 1\n", "# HELP a b\n# TYPE a gauge\na{x=\"\\y\"} 1\n",
    "# HELP a b\n# TYPE a gauge\nb 1\n", "# HELP a b\n# TYPE a text\na 1\n",
    "# HELP a b\n# TYPE a gauge\na 1\n# HELP a b\n# TYPE a gauge\na{b=\"c\"} 1\n",
    "# HELP a b\n# TYPE a gauge\na{x=\"1\",x=\"2\"} 1\n", "# HELP a b\n# TYPE a gauge\na one\n"])
def test_what_is_no_metrics_text_is_refused(text):
    with pytest.raises(ValueError):
        metrics.parse(text)


def test_a_node_exporter_takes_the_metrics(daemon, build, site, tmp_path):
    """The textfile collector, which has Prometheus' own parser, gives every sample on."""
    exporter = shutil.which("prometheus-node-exporter")
    if exporter is None:
        pytest.skip("prometheus-node-exporter is missing (package prometheus-node-exporter)")
    printed = show(daemon, build, "--prometheus").stdout
    (tmp_path / "snmp-app.prom").write_text(printed, encoding="utf-8")
    address = "127.0.0.1:9100"
    with subprocess.Popen(
            site.router.command(exporter, "--collector.disable-defaults", "--collector.textfile",
                                f"--collector.textfile.directory={tmp_path}",
                                f"--web.listen-address={address}"),
            stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as process:
        try:
            scraped = wait_until(lambda: scrape(site.router, address), "the exporter's metrics")
        finally:
            process.kill()
    assert "node_textfile_scrape_error 0" in scraped.splitlines()
    samples = [line for line in printed.splitlines() if not line.startswith("#")]
    assert len(samples) > 20
    values = {sample.rpartition(" ")[0]: float(sample.rpartition(" ")[2]) for sample in samples}
    given = {name: value for name, value in map(sample_of, scraped.splitlines())
             if name.startswith("snmp_app_")}
    assert given == {key(name): value for name, value in values.items()}


def scrape(namespace, address):
    """What an exporter in a namespace tells; empty when it does not answer."""
    program = ("import sys, urllib.request; sys.stdout.write(urllib.request.urlopen("
               f"'http://{address}/metrics', timeout=5).read().decode())")
    done = subprocess.run(namespace.command("/usr/bin/python3", "-c", program),
                          capture_output=True, text=True, check=False)
    return done.stdout if done.returncode == 0 else ""


def key(name):
    """Name and labels, whatever their order."""
    metric, _, labels = name.partition("{")
    return metric + "{" + ",".join(sorted(labels.rstrip("}").split(",")))


def sample_of(line):
    if line.startswith("#"):
        return "#", 0.0
    name, _, value = line.rpartition(" ")
    return key(name), float(value)
