"""The installed daemon, run as its unit file says."""

import os
import shutil

import pytest

from lab.daemon import Daemon

UNIT = "usr/lib/systemd/system/snmp-app.service"
EXAMPLE = "usr/share/doc/snmp-app/examples/startup.json"
HERE = os.path.dirname(os.path.abspath(__file__))


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


def capabilities_of(content):
    unit = settings(content / UNIT)
    assert unit["AmbientCapabilities"] == unit["CapabilityBoundingSet"]
    return [name.lower().replace("cap_", "") for name in unit["AmbientCapabilities"][0].split()]


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

    def __init__(self, confined, **options):
        super().__init__(confined, "/", **options)
        self.program = "/usr/sbin/snmp-app"
        self.root = confined.root
        confined.folder = os.path.dirname(self.state)
        os.chmod(confined.folder, 0o711)
        shutil.copy(self.root.inside("/" + EXAMPLE), self.startup_file)
        self.root.run("chown", "root:snmp-app", "/etc/snmp-app/startup.json")
        os.chmod(self.startup_file, 0o640)

    @property
    def startup_file(self):
        return self.root.inside("/etc/snmp-app/startup.json")

    @property
    def netconf_socket(self):
        return self.root.inside("/run/snmp-app/netconf.sock")

    def start(self, wait=True):
        # The service manager's socket is there for everybody.
        mask = os.umask(0)
        try:
            super().start(wait=False)
        finally:
            os.umask(mask)
        if wait:
            self.wait_ready()

    def facts(self, field):
        with open(f"/proc/{self.process.pid}/status", encoding="ascii") as file:
            return next(line.split(":", 1)[1].split() for line in file
                        if line.startswith(field + ":"))

    def wait_watchdog(self):
        """Waits for a sign of life after the readiness; the deadline is the socket's."""
        self._notify.settimeout(10)
        while self._notify.recv(4096) != b"WATCHDOG=1":
            pass
