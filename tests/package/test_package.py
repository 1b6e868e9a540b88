"""The package's fields and files, and the daemon as it is installed."""

import os
import re
import shutil
import stat
import subprocess

import pytest

from lab import snmp
from lab.daemon import Daemon
from lab.network import run
from lab.site import DEFAULT, RED
from lab.wait import wait_until

FILES = {
    "/etc/snmp-app/",
    "/usr/bin/snmp-app-show",
    "/usr/lib/systemd/networkd.conf.d/50-snmp-app.conf",
    "/usr/lib/systemd/system/snmp-app.service",
    "/usr/lib/sysctl.d/50-snmp-app.conf",
    "/usr/lib/sysusers.d/snmp-app.conf",
    "/usr/sbin/snmp-app",
    "/usr/share/doc/snmp-app/changelog.Debian.gz",
    "/usr/share/doc/snmp-app/examples/sshd-netconf.conf",
    "/usr/share/doc/snmp-app/examples/startup.json",
    "/usr/share/man/man1/snmp-app-show.1.gz",
    "/usr/share/man/man5/snmp-app-startup.json.5.gz",
    "/usr/share/man/man8/snmp-app.8.gz",
}
UNIT = "usr/lib/systemd/system/snmp-app.service"
EXAMPLE = "usr/share/doc/snmp-app/examples/startup.json"
WATCHDOG_US = 200000
HERE = os.path.dirname(os.path.abspath(__file__))
TREE = os.path.dirname(os.path.dirname(HERE))


def need(program):
    if shutil.which(program) is None:
        pytest.skip(f"{program} is missing")


def settings(unit_file):
    """The unit's settings: all the values of each, in their order."""
    found = {}
    for line in unit_file.read_text().splitlines():
        if "=" in line and not line.startswith("#"):
            name, value = line.split("=", 1)
            found.setdefault(name, []).append(value)
    return found


def test_name_and_fields(package):
    fields = dict(line.split(": ", 1) for line in
                  run("dpkg-deb", "-f", package).splitlines() if line[:1].strip())
    architecture = run("dpkg", "--print-architecture").strip()
    assert fields["Package"] == "snmp-app"
    assert fields["Architecture"] == architecture
    assert os.path.basename(package) == f"snmp-app_{fields['Version']}_{architecture}.deb"
    depends = {word.split()[0] for word in fields["Depends"].split(", ")}
    assert {"systemd", "libc6", "libnftables1", "libnl-3-200", "libsnmp40", "libsystemd0",
            "libyang2"} <= depends
    assert fields["Recommends"] == "libyuma-base"


def test_content(package):
    lines = [line.split(None, 5) for line in run("dpkg-deb", "-c", package).splitlines()]
    assert {line[1] for line in lines} == {"root/root"}
    modes = {line[5][1:]: line[0] for line in lines}
    files = {path for path in modes if not path.endswith("/")} | {"/etc/snmp-app/"} & set(modes)
    models = {f"/usr/share/snmp-app/yang/{name}" for name in os.listdir(f"{TREE}/yang")}
    assert len(models) > 0
    assert files == FILES | models
    for path, mode in modes.items():
        executable = path.endswith("/") or "bin/" in path
        assert mode[1:] == ("rwxr-xr-x" if executable else "rw-r--r--"), path


def test_maintainer_scripts_and_no_conffiles(package, tmp_path):
    run("dpkg-deb", "-e", package, str(tmp_path))
    assert {path.name for path in tmp_path.iterdir()} == {
        "control", "md5sums", "postinst", "prerm", "postrm"}
    for name in ("postinst", "prerm", "postrm"):
        run("bash", "-n", str(tmp_path / name))


def test_exposure_is_2_at_most(content, capsys):
    need("systemd-analyze")
    # The limit is in tenths.
    text = run("systemd-analyze", "security", "--offline=yes", "--no-pager", "--threshold=20",
               str(content / UNIT))
    with capsys.disabled():
        print("\n" + text.splitlines()[-1])
    assert float(re.search(r"level for snmp-app\.service: ([0-9.]+)", text).group(1)) <= 2.0


@pytest.mark.parametrize("page", ["man1/snmp-app-show.1.gz", "man5/snmp-app-startup.json.5.gz",
                                  "man8/snmp-app.8.gz"])
def test_man_pages_are_clean(content, page):
    need("man")
    done = subprocess.run(["man", "--warnings", "-E", "UTF-8", "-l",
                           str(content / "usr/share/man" / page)], capture_output=True, text=True,
                          check=True, env={**os.environ, "MANWIDTH": "80"})
    assert done.stderr == ""
    assert "NAME" in done.stdout


def test_installation_and_purge(root):
    user = root.run("getent", "passwd", "snmp-app").split(":")
    assert user[5] == "/var/lib/snmp-app" and user[6].strip().endswith("nologin")
    assert root.run("stat", "-c", "%U %G %a", "/etc/snmp-app").strip() == "root snmp-app 750"
    for name in ("/etc/snmp-app/startup.json", "/var/lib/snmp-app/running.json"):
        os.makedirs(os.path.dirname(root.inside(name)), exist_ok=True)
        with open(root.inside(name), "w", encoding="ascii") as file:
            file.write("{}")
    root.run("systemctl", "enable", "snmp-app.service")
    wanted = root.inside("/etc/systemd/system/multi-user.target.wants/snmp-app.service")
    assert os.path.islink(wanted)

    root.run("dpkg", "--install", "/run/package/snmp-app.deb")
    assert os.path.islink(wanted)
    assert os.path.exists(root.inside("/etc/snmp-app/startup.json"))
    root.run("dpkg", "--remove", "snmp-app")
    assert not os.path.islink(wanted)
    assert os.path.exists(root.inside("/var/lib/snmp-app/running.json"))
    root.run("dpkg", "--purge", "snmp-app")
    for path in ("/etc/snmp-app", "/var/lib/snmp-app", *FILES):
        assert not os.path.exists(root.inside(path)), path


class Confined:
    """Has a command run in the router, installed and confined as the unit file says."""

    def __init__(self, router, root, capabilities, tracer=()):
        self.router, self.root, self.tracer = router, root, tracer
        self.capabilities = ",".join(f"+{name}" for name in capabilities)
        self.folder = None

    def command(self, *words):
        return self.router.command("unshare", "--mount", "bash", f"{HERE}/confine.sh",
                                   self.root.path, self.capabilities, self.folder, *self.tracer,
                                   *words)


class InstalledDaemon(Daemon):
    """The installed daemon, with the example of the package as its start-up configuration."""

    def __init__(self, confined):
        super().__init__(confined, "/")
        self.program = "/usr/sbin/snmp-app"
        root = confined.root
        confined.folder = os.path.dirname(self.state)
        os.chmod(confined.folder, 0o711)
        startup = root.inside("/etc/snmp-app/startup.json")
        shutil.copy(root.inside("/" + EXAMPLE), startup)
        root.run("chown", "root:snmp-app", "/etc/snmp-app/startup.json")
        os.chmod(startup, 0o640)

    def start(self, wait=True):
        # The service manager's socket is there for everybody.
        mask = os.umask(0)
        try:
            super().start(wait=False)
        finally:
            os.umask(mask)
        if wait:
            self.wait_ready()

    def status(self, field):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return next(line.split(":", 1)[1].split() for line in file
                        if line.startswith(field + ":"))

    def wait_watchdog(self):
        """Waits for a sign of life after the readiness; the deadline is the socket's."""
        self._notify.settimeout(10)
        while self._notify.recv(4096) != b"WATCHDOG=1":
            pass


def capabilities_of(content):
    unit = settings(content / UNIT)
    assert unit["AmbientCapabilities"] == unit["CapabilityBoundingSet"]
    return [name.lower().replace("cap_", "") for name in unit["AmbientCapabilities"][0].split()]


@pytest.fixture
def prepared(site, content):
    """The example's addresses, and the setting of the kernel that the package brings."""
    site.router.add_address("eth0", "2001:db8::1/64")
    site.router.run("/lib/systemd/systemd-sysctl",
                    str(content / "usr/lib/sysctl.d/50-snmp-app.conf"))
    # A kernel that does not have the setting says nothing of it.
    value = site.router.run("sysctl", "-e", "-n", "net.ipv4.udp_l3mdev_accept").strip()
    assert value in ("", "1")
    return site


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
        assert daemon.status("Uid") == [user] * 4 and user != "0"
        # The bits of CAP_NET_BIND_SERVICE and CAP_NET_ADMIN.
        for name in ("CapInh", "CapPrm", "CapEff", "CapBnd", "CapAmb"):
            assert int(daemon.status(name)[0], 16) == 1 << 10 | 1 << 12, name
        expect_service(prepared, daemon)
        daemon.wait_watchdog()
        state = os.stat(root.inside("/var/lib/snmp-app/running.json"))
        assert stat.S_IMODE(state.st_mode) == 0o600 and str(state.st_uid) == user
        assert daemon.stop() == 0
    assert prepared.redirects() == []
    assert prepared.mark_rules() == [] and prepared.destination_rules() == []


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
