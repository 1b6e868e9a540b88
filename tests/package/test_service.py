"""The installed daemon at work, confined as the unit file says."""

import contextlib
import os
import re
import stat

import pytest

from installed import UNIT, Confined, InstalledDaemon, capabilities_of, need, settings
from lab import snmp, ssh
from lab.netconf import Client, port_edit
from lab.network import run
from lab.site import DEFAULT, RED
from lab.wait import wait_until
from lab.yangcli import Operator
from tour import STARTUP, Tour

WATCHDOG_US = 200000


@pytest.fixture
def booted(site, content):
    """The site with the settings of the kernel that the package brings."""
    site.router.run("/lib/systemd/systemd-sysctl",
                    str(content / "usr/lib/sysctl.d/50-snmp-app.conf"))
    # A kernel that does not have the setting says nothing of it.
    value = site.router.run("sysctl", "-e", "-n", "net.ipv4.udp_l3mdev_accept").strip()
    assert value in ("", "1")
    reserved = site.router.run("sysctl", "-n", "net.ipv4.ip_local_reserved_ports").strip()
    assert reserved == "60600-65535"
    return site


@pytest.fixture
def prepared(booted):
    """The example's addresses."""
    booted.router.add_address("eth0", "2001:db8::1/64")
    return booted


def expect_service(site, daemon):
    """The example's agent answers, its redirect and its routing rules are in the kernel."""
    assert snmp.get(site.managers["default"], DEFAULT)
    assert snmp.answers(site.managers["default"], DEFAULT)
    assert snmp.answers(site.managers["red"], RED)
    assert site.redirects() == ["eth1 . 161 : 60600"]
    for family in ("-4", "-6"):
        rules = site.mark_rules(family)
        assert len(rules) == 1 and "fwmark 0x64 lookup 100" in rules[0], rules
    rules = site.destination_rules()
    assert len(rules) == 1
    assert re.match(r"1400 from all to 203\.0\.113\.100 ipproto udp dport 162 lookup 100", rules[0])
    assert not daemon.records(" fault |[Cc]annot |refused")


def test_installed_daemon_serves_and_ends(root, prepared, content, monkeypatch):
    monkeypatch.setenv("WATCHDOG_USEC", str(WATCHDOG_US))
    monkeypatch.delenv("WATCHDOG_PID", raising=False)
    with InstalledDaemon(Confined(prepared.router, root, capabilities_of(content))) as daemon:
        daemon.start()
        user = root.run("id", "-u", "snmp-app").strip()
        assert daemon.facts("Uid") == [user] * 4 and user != "0"
        # The bits of CAP_NET_BIND_SERVICE and CAP_NET_ADMIN.
        for name in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
            assert int(daemon.facts(name)[0], 16) == 1 << 10 | 1 << 12, name
        expect_service(prepared, daemon)
        daemon.wait_watchdog()
        state = os.stat(root.inside("/var/lib/snmp-app/running.json"))
        assert stat.S_IMODE(state.st_mode) == 0o600 and str(state.st_uid) == user
        assert daemon.stop() == 0
    assert prepared.redirects() == []
    assert prepared.mark_rules() == [] and prepared.destination_rules() == []


def test_installed_daemon_keeps_configurations_and_writes_the_startup_file(root, prepared, content):
    user = int(root.run("id", "-u", "snmp-app"))
    with InstalledDaemon(Confined(prepared.router, root, capabilities_of(content))) as daemon:
        daemon.start()
        with Client(daemon.netconf_socket) as session:
            session.edit(port_edit(1161))
            session.rpc("<copy-config><target><startup/></target><source><running/></source>"
                        "</copy-config>")
            session.rpc('<rollback xmlns="urn:snmp-app:history"><number>1</number></rollback>')
        assert not daemon.records(" fault ")
        startup = os.stat(daemon.startup_file)
        assert (stat.S_IMODE(startup.st_mode), startup.st_uid) == (0o600, user)
        with open(daemon.startup_file, encoding="utf-8") as file:
            assert '"port": 1161' in file.read()
        assert len(os.listdir(root.inside("/var/lib/snmp-app/history"))) == 6
        assert daemon.stop() == 0


def test_startup_file_is_writable_under_the_unit(content):
    unit = settings(content / UNIT)
    assert unit["ReadWritePaths"] == ["/etc/snmp-app"]
    assert unit["ConfigurationDirectoryMode"] == ["0770"]


@pytest.mark.parametrize("missing, refusal", [
    ("net_admin", "Operation not permitted"), ("net_bind_service", "Permission denied")])
def test_every_capability_is_needed(root, prepared, content, missing, refusal):
    capabilities = capabilities_of(content)
    capabilities.remove(missing)
    with InstalledDaemon(Confined(prepared.router, root, capabilities)) as daemon:
        daemon.start(wait=False)
        daemon.wait_record(refusal)


def group_members(name):
    """The system calls of a group of systemd's."""
    members = set()
    for line in run("systemd-analyze", "--no-pager", "syscall-filter", name).splitlines():
        word = line.strip()
        if not line.startswith(" ") or word.startswith("#"):
            continue
        members |= group_members(word) if word.startswith("@") else {word}
    return members


def permitted_calls(unit):
    """Each line adds to the calls that the ones before permit, or takes from them."""
    permitted = set()
    assert not unit["SystemCallFilter"][0].startswith("~")
    for line in unit["SystemCallFilter"]:
        named = set().union(*map(group_members, line.lstrip("~").split()))
        permitted = permitted - named if line.startswith("~") else permitted | named
    return permitted


def test_system_calls_are_within_the_filter(root, prepared, content, monkeypatch):
    monkeypatch.setenv("SNMP_APP_NETCONF_GROUP", "snmp-app")
    for program in ("systemd-analyze", "strace"):
        need(program)
    permitted = permitted_calls(settings(content / UNIT))
    assert "sendmsg" in permitted and "setuid" not in permitted
    tracer = ("strace", "-D", "-f", "-q", "-o", "/var/lib/snmp-app/trace")
    trace = root.inside("/var/lib/snmp-app/trace")
    confined = Confined(prepared.router, root, capabilities_of(content), tracer)
    with InstalledDaemon(confined) as daemon:
        daemon.start()
        expect_service(prepared, daemon)
        assert daemon.stop() == 0

    def lines():
        with open(trace, encoding="utf-8", errors="replace") as file:
            return file.read().splitlines()
    wait_until(lambda: lines()[-1].endswith("+++ exited with 0 +++"), "the end of the trace")
    calls = {match.group(1) for line in lines()
             if (match := re.match(r"\d+ +(?:<\.\.\. )?(\w+)(?:\(| resumed)", line))}
    # The last one is for the group of the NETCONF socket, which needs the IETF's models.
    assert {"execve", "bind", "setsockopt"} <= calls and {"chown", "fchownat"} & calls
    assert calls - permitted == set()


@pytest.fixture
def run_snmp_app(root):
    """The installed daemon's folder, at the place where the SSH server's drop-in looks for it."""
    os.symlink(root.inside("/run/snmp-app"), "/run/snmp-app")
    yield
    os.unlink("/run/snmp-app")


def test_tour(root, booted, content, run_snmp_app):
    """All that ./run shows, with the installed daemon, client and drop-in of the SSH server."""
    site = booted
    show = site.router.command("chroot", root.path, "/usr/bin/snmp-app-show")
    confined = Confined(site.router, root, capabilities_of(content))
    with contextlib.ExitStack() as stack:
        daemon = stack.enter_context(InstalledDaemon(confined, level="progress"))
        daemon.write_startup(STARTUP)
        server = stack.enter_context(ssh.Server(
            site.router, drop_in=root.inside("/usr/share/snmp-app/sshd-netconf.conf")))
        tour = Tour(site, daemon, Operator(site.router, server), show)
        tour.run()
        tour.end()
    assert tour.screen.missed == []
