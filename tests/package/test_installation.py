"""What installing, removing and purging the packages does."""

import os

from conftest import NAMES
from test_package import FILES

DROP_IN = "/etc/ssh/sshd_config.d/50-snmp-app.conf"
FILE = "/usr/share/snmp-app/sshd-netconf.conf"
WANTED = "/etc/systemd/system/multi-user.target.wants/snmp-app.service"


def is_enabled(root):
    return os.path.islink(root.inside(WANTED))


def has_subsystem(root):
    """Whether the SSH server, which takes its configuration, leads to the daemon."""
    return "subsystem netconf /usr/bin/socat" in root.run("/usr/sbin/sshd", "-T")


def reinstall(root, *names):
    root.dpkg("--remove", *names)
    root.install(*names)


def write(root, name, text):
    os.makedirs(os.path.dirname(root.inside(name)), exist_ok=True)
    with open(root.inside(name), "a", encoding="ascii") as file:
        file.write(text)


def test_it_starts_with_the_machine(root):
    """From the first installation on; an upgrade, and a removal with another installation, leave
    it as the administrator has it."""
    assert is_enabled(root)
    reinstall(root, *NAMES)
    assert is_enabled(root)
    root.run("systemctl", "disable", "snmp-app.service")
    root.install("snmp-app")
    assert not is_enabled(root)
    reinstall(root, *NAMES)
    assert not is_enabled(root)


def test_installation_and_purge(root):
    user = root.run("getent", "passwd", "snmp-app").split(":")
    assert user[5] == "/var/lib/snmp-app" and user[6].strip().endswith("nologin")
    assert root.run("stat", "-c", "%U %G %a", "/etc/snmp-app").strip() == "root snmp-app 770"
    for name in ("/etc/snmp-app/startup.json", "/var/lib/snmp-app/running.json"):
        write(root, name, "{}")
    root.install(*NAMES)
    assert os.path.exists(root.inside("/etc/snmp-app/startup.json"))
    root.dpkg("--remove", *NAMES)
    assert os.path.exists(root.inside("/var/lib/snmp-app/running.json"))
    root.dpkg("--purge", *NAMES)
    assert not os.path.lexists(root.inside(WANTED))
    for path in ("/etc/snmp-app", "/var/lib/snmp-app", *FILES["snmp-app"],
                 *FILES["snmp-app-netconf"]):
        assert not os.path.exists(root.inside(path)), path
    assert os.listdir(os.path.dirname(root.inside(DROP_IN))) == []


def test_the_daemon_is_installed_alone(bare_root):
    bare_root.install("snmp-app")
    assert is_enabled(bare_root)
    assert not os.path.lexists(bare_root.inside(DROP_IN))
    bare_root.dpkg("--purge", "snmp-app")
    assert os.listdir(os.path.dirname(bare_root.inside(DROP_IN))) == []


def test_ssh_server_has_the_subsystem(root):
    assert os.readlink(root.inside(DROP_IN)) == FILE
    assert has_subsystem(root)
    os.unlink(root.inside(DROP_IN))
    root.install(*NAMES)
    assert not os.path.lexists(root.inside(DROP_IN)), "taken out by an administrator, and back"
    reinstall(root, "snmp-app-netconf")
    assert not os.path.lexists(root.inside(DROP_IN)), "taken out by an administrator, and back"
    root.dpkg("--purge", "snmp-app-netconf")
    root.install("snmp-app-netconf")
    assert has_subsystem(root)


def test_removal_takes_the_subsystem_along(root):
    root.dpkg("--remove", "snmp-app-netconf")
    assert not os.path.lexists(root.inside(DROP_IN))
    assert "netconf" not in root.run("/usr/sbin/sshd", "-T")
    root.install("snmp-app-netconf")
    assert has_subsystem(root)
    root.dpkg("--remove", *NAMES)
    root.dpkg("--purge", "snmp-app")
    root.install(*NAMES)
    assert has_subsystem(root), "the purge of another package has forgotten it"
    root.dpkg("--remove", *NAMES)
    root.dpkg("--purge", *NAMES)
    assert os.listdir(os.path.dirname(root.inside(DROP_IN))) == []


def test_ssh_server_with_another_such_subsystem_is_left_alone(root):
    root.dpkg("--purge", "snmp-app-netconf")
    write(root, "/etc/ssh/sshd_config", "\nSubsystem netconf /bin/false\n")
    assert "NETCONF over SSH is left off" in root.install("snmp-app-netconf")
    assert not os.path.lexists(root.inside(DROP_IN))
    assert "subsystem netconf /bin/false" in root.run("/usr/sbin/sshd", "-T")
