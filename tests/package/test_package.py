"""The packages' fields and files."""

import os
import re
import subprocess

import pytest

from conftest import NAMES
from installed import UNIT, need
from lab.network import run

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
FLEET = "/usr/share/doc/snmp-app-netconf/examples/fleet"
FILES = {
    "snmp-app": {
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
        *(f"/usr/share/snmp-app/yang/{name}" for name in os.listdir(f"{TREE}/yang")),
    },
    "snmp-app-netconf": {
        "/usr/share/doc/snmp-app-netconf/changelog.Debian.gz",
        "/usr/share/doc/snmp-app-netconf/copyright",
        *(f"{FLEET}/{name}" for name in os.listdir(f"{TREE}/packaging/examples/fleet")),
        "/usr/share/snmp-app/sshd-netconf.conf",
    },
}
SCRIPTS = {"snmp-app": {"preinst", "postinst", "prerm", "postrm"},
           "snmp-app-netconf": {"postinst", "prerm", "postrm"}}


def fields_of(package):
    return dict(line.split(": ", 1) for line in
                run("dpkg-deb", "-f", package).splitlines() if line[:1].strip())


def test_fields_of_the_daemons_package(packages):
    fields = fields_of(packages["snmp-app"])
    architecture = run("dpkg", "--print-architecture").strip()
    assert fields["Package"] == "snmp-app"
    assert fields["Architecture"] == architecture
    assert os.path.basename(packages["snmp-app"]) == (
        f"snmp-app_{fields['Version']}_{architecture}.deb")
    depends = {word.split()[0] for word in fields["Depends"].split(", ")}
    assert {"systemd", "libc6", "libmnl0", "libnftnl11", "libnl-3-200", "libsnmp40", "libsystemd0",
            "libyang2"} <= depends
    assert fields["Recommends"] == "libyuma-base, snmp-app-netconf"


def test_fields_of_the_package_for_ssh(packages):
    fields = fields_of(packages["snmp-app-netconf"])
    version = fields_of(packages["snmp-app"])["Version"]
    assert fields["Package"] == "snmp-app-netconf" and fields["Architecture"] == "all"
    assert fields["Version"] == version
    assert fields["Depends"] == "libyuma-base, openssh-server, snmp-app (>= 0.1.0-2), socat"
    assert fields["Breaks"] == fields["Replaces"] == "snmp-app (<< 0.1.0-2)"
    run("dpkg", "--compare-versions", version, "ge", "0.1.0-2")


@pytest.mark.parametrize("name", NAMES)
def test_content(packages, name):
    lines = [line.split(None, 5) for line in
             run("dpkg-deb", "-c", packages[name]).splitlines()]
    assert {line[1] for line in lines} == {"root/root"}
    modes = {line[5][1:]: line[0] for line in lines}
    files = {path for path in modes if not path.endswith("/")} | {"/etc/snmp-app/"} & set(modes)
    assert files == FILES[name]
    for path, mode in modes.items():
        executable = path.endswith("/") or "bin/" in path
        assert mode[1:] == ("rwxr-xr-x" if executable else "rw-r--r--"), path


@pytest.mark.parametrize("name", NAMES)
def test_maintainer_scripts_and_no_conffiles(packages, name, tmp_path):
    run("dpkg-deb", "-e", packages[name], str(tmp_path))
    assert {path.name for path in tmp_path.iterdir()} == {"control", "md5sums"} | SCRIPTS[name]
    for script in SCRIPTS[name]:
        run("bash", "-n", str(tmp_path / script))


def test_changelog_begins_with_this_version(packages):
    with open(f"{TREE}/packaging/changelog", encoding="utf-8") as file:
        version = re.match(r"snmp-app \((.*?)\) ", file.readline())[1]
    assert fields_of(packages["snmp-app"])["Version"] == version


@pytest.mark.parametrize("name", NAMES)
def test_lintian_finds_no_error(packages, name):
    need("lintian")
    done = subprocess.run(["lintian", "--allow-root", "--fail-on", "error", packages[name]],
                          capture_output=True, text=True, check=False)
    assert done.returncode == 0, done.stdout + done.stderr


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
