"""The package's fields and files, and what its installation does."""

import os
import re
import shutil
import subprocess

import pytest

from installed import UNIT, need, settings
from lab.network import run

FILES = {
    "/etc/snmp-app/",
    "/usr/bin/snmp-app-show",
    "/usr/lib/systemd/networkd.conf.d/50-snmp-app.conf",
    "/usr/lib/systemd/system/snmp-app.service",
    "/usr/lib/sysctl.d/50-snmp-app.conf",
    "/usr/lib/sysusers.d/snmp-app.conf",
    "/usr/sbin/snmp-app",
    "/usr/share/bash-completion/completions/snmp-app",
    "/usr/share/bash-completion/completions/snmp-app-show",
    "/usr/share/doc/snmp-app/changelog.Debian.gz",
    "/usr/share/doc/snmp-app/copyright",
    "/usr/share/doc/snmp-app/examples/startup.json",
    "/usr/share/man/man1/snmp-app-show.1.gz",
    "/usr/share/man/man5/snmp-app-startup.json.5.gz",
    "/usr/share/man/man8/snmp-app.8.gz",
    "/usr/share/snmp-app/sshd-netconf.conf",
}
TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


def test_name_and_fields(package):
    fields = dict(line.split(": ", 1) for line in
                  run("dpkg-deb", "-f", package).splitlines() if line[:1].strip())
    architecture = run("dpkg", "--print-architecture").strip()
    assert fields["Package"] == "snmp-app"
    assert fields["Architecture"] == architecture
    assert os.path.basename(package) == f"snmp-app_{fields['Version']}_{architecture}.deb"
    depends = {word.split()[0] for word in fields["Depends"].split(", ")}
    assert {"systemd", "libc6", "libmnl0", "libnftnl11", "libnl-3-200", "libsnmp40", "libsystemd0",
            "libyang2"} <= depends
    assert fields["Recommends"] == "libyuma-base, openssh-server, socat"


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


WANTED = "/etc/systemd/system/multi-user.target.wants/snmp-app.service"


def is_enabled(root):
    return os.path.islink(root.inside(WANTED))


def reinstall(root):
    root.run("dpkg", "--remove", "snmp-app")
    root.run("dpkg", "--install", "/run/package/snmp-app.deb")


def test_it_starts_with_the_machine(root):
    """From the first installation on; an upgrade, and a removal with another installation, leave
    it as the administrator has it."""
    assert is_enabled(root)
    reinstall(root)
    assert is_enabled(root)
    root.run("systemctl", "disable", "snmp-app.service")
    root.run("dpkg", "--install", "/run/package/snmp-app.deb")
    assert not is_enabled(root)
    reinstall(root)
    assert not is_enabled(root)


def test_installation_and_purge(root):
    user = root.run("getent", "passwd", "snmp-app").split(":")
    assert user[5] == "/var/lib/snmp-app" and user[6].strip().endswith("nologin")
    assert root.run("stat", "-c", "%U %G %a", "/etc/snmp-app").strip() == "root snmp-app 770"
    for name in ("/etc/snmp-app/startup.json", "/var/lib/snmp-app/running.json"):
        os.makedirs(os.path.dirname(root.inside(name)), exist_ok=True)
        with open(root.inside(name), "w", encoding="ascii") as file:
            file.write("{}")
    root.run("dpkg", "--install", "/run/package/snmp-app.deb")
    assert os.path.exists(root.inside("/etc/snmp-app/startup.json"))
    root.run("dpkg", "--remove", "snmp-app")
    assert os.path.exists(root.inside("/var/lib/snmp-app/running.json"))
    root.run("dpkg", "--purge", "snmp-app")
    assert not os.path.lexists(root.inside(WANTED))
    for path in ("/etc/snmp-app", "/var/lib/snmp-app", *FILES):
        assert not os.path.exists(root.inside(path)), path


DROP_IN = "/etc/ssh/sshd_config.d/50-snmp-app.conf"


def test_ssh_server_has_the_subsystem(root):
    assert os.readlink(root.inside(DROP_IN)) == "/usr/share/snmp-app/sshd-netconf.conf"
    assert "subsystem netconf /usr/bin/socat" in root.run("/usr/sbin/sshd", "-T")
    os.unlink(root.inside(DROP_IN))
    root.run("dpkg", "--install", "/run/package/snmp-app.deb")
    assert not os.path.lexists(root.inside(DROP_IN)), "taken out by an administrator, and back"


    reinstall(root)
    assert not os.path.lexists(root.inside(DROP_IN)), "taken out by an administrator, and back"


def test_removal_takes_the_subsystem_along(root):
    root.run("dpkg", "--remove", "snmp-app")
    assert not os.path.lexists(root.inside(DROP_IN))
    assert "netconf" not in root.run("/usr/sbin/sshd", "-T")
    root.run("dpkg", "--install", "/run/package/snmp-app.deb")
    assert "subsystem netconf /usr/bin/socat" in root.run("/usr/sbin/sshd", "-T")
    root.run("dpkg", "--remove", "snmp-app")
    root.run("dpkg", "--purge", "snmp-app")
    assert os.listdir(os.path.dirname(root.inside(DROP_IN))) == []


def test_ssh_server_with_another_such_subsystem_is_left_alone(root):
    root.run("dpkg", "--purge", "snmp-app")
    with open(root.inside("/etc/ssh/sshd_config"), "a", encoding="ascii") as file:
        file.write("\nSubsystem netconf /bin/false\n")
    done = subprocess.run(["chroot", root.path, "dpkg", "--install", "/run/package/snmp-app.deb"],
                          capture_output=True, text=True, check=True)
    assert "NETCONF over SSH is left off" in done.stderr
    assert not os.path.lexists(root.inside(DROP_IN))
    assert "subsystem netconf /bin/false" in root.run("/usr/sbin/sshd", "-T")
