"""The upgrade from the last version that was one package, in whose files the SSH server's drop-in
was. Its scripts are in before_netconf/."""

import os
import shutil

import pytest

from conftest import NAMES
from lab.network import run
from test_installation import DROP_IN, FILE, has_subsystem, is_enabled, write

SCRIPTS = os.path.join(os.path.dirname(os.path.abspath(__file__)), "before_netconf")
CONTROL = """Package: snmp-app
Version: 0.1.0-1
Architecture: {architecture}
Maintainer: nobody <nobody@example.org>
Depends: systemd
Description: as it was
"""
NEW = "usr/bin/snmp-app-show"  # taken from the old version, for a test


@pytest.fixture(scope="module")
def one_package(packages, tmp_path_factory):
    """Version 0.1.0-1: the files of both packages with the scripts of that time."""
    folder = tmp_path_factory.mktemp("before")
    for path in packages.values():
        run("dpkg-deb", "-x", path, str(folder / "tree"))
    shutil.rmtree(folder / "tree/usr/share/doc/snmp-app-netconf")
    os.unlink(folder / "tree" / NEW)
    shutil.copytree(SCRIPTS, folder / "tree/DEBIAN")
    (folder / "tree/DEBIAN/control").write_text(
        CONTROL.format(architecture=run("dpkg", "--print-architecture").strip()))
    run("dpkg-deb", "-Znone", "--root-owner-group", "-b", str(folder / "tree"),
        str(folder / "before.deb"))
    yield folder / "before.deb"
    shutil.rmtree(folder)


@pytest.fixture
def before(bare_root, one_package):
    """A machine with version 0.1.0-1."""
    shutil.copy(one_package, bare_root.inside("/run/package/before.deb"))
    bare_root.install("before")
    assert has_subsystem(bare_root) and is_enabled(bare_root)
    return bare_root


def owner(root, path):
    return root.run("dpkg", "--search", path).split(":")[0]


def test_all_stays_as_it_is(before):
    write(before, "/etc/snmp-app/startup.json", "{}")
    before.run("systemctl", "disable", "snmp-app.service")
    before.install(*NAMES)
    assert os.readlink(before.inside(DROP_IN)) == FILE and owner(before, FILE) == NAMES[1]
    assert has_subsystem(before)
    assert not is_enabled(before)
    assert os.path.exists(before.inside("/etc/snmp-app/startup.json"))
    assert os.listdir(os.path.dirname(before.inside(DROP_IN))) == [os.path.basename(DROP_IN)]


def test_what_was_taken_out_stays_out(before):
    os.unlink(before.inside(DROP_IN))
    said = before.install(*NAMES)
    assert f"to have it again: ln -s {FILE} {DROP_IN}" in said
    assert os.listdir(os.path.dirname(before.inside(DROP_IN))) == []
    before.install(*NAMES)
    assert not os.path.lexists(before.inside(DROP_IN))
    before.run("ln", "-s", FILE, DROP_IN)
    assert has_subsystem(before)


def test_first_the_daemon_then_the_other(before):
    """In between nothing of the SSH server's leads nowhere."""
    before.install("snmp-app")
    assert not os.path.exists(before.inside(FILE))
    assert "netconf" not in before.run("/usr/sbin/sshd", "-T")
    before.install("snmp-app")
    before.install("snmp-app-netconf")
    assert has_subsystem(before)


def test_the_daemon_alone_leaves_nothing_when_purged(before):
    before.install("snmp-app")
    before.dpkg("--purge", "snmp-app")
    assert os.listdir(os.path.dirname(before.inside(DROP_IN))) == []


def test_the_new_one_is_not_beside_the_old_one(before):
    with pytest.raises(RuntimeError, match="break"):
        before.install("snmp-app-netconf")
    assert has_subsystem(before) and owner(before, FILE) == "snmp-app"


def test_removed_before(before):
    before.dpkg("--remove", "snmp-app")
    before.install(*NAMES)
    assert has_subsystem(before) and is_enabled(before)


def install_other(root):
    """A package of somebody else's with a file that the old version does not have."""
    write(root, "/run/package/tree/DEBIAN/control",
          "Package: other\nVersion: 1\nArchitecture: all\nMaintainer: nobody <nobody@example.org>\n"
          "Description: in the way\n")
    write(root, f"/run/package/tree/{NEW}", "")
    run("dpkg-deb", "-Znone", "-b", root.inside("/run/package/tree"),
        root.inside("/run/package/other.deb"))
    root.install("other")


@pytest.mark.parametrize("taken_out", [False, True])
def test_an_upgrade_that_fails_changes_nothing(before, taken_out):
    """It does behind the first of the new version's scripts, which has put the drop-in by."""
    if taken_out:
        os.unlink(before.inside(DROP_IN))
    folder = os.path.dirname(before.inside(DROP_IN))
    had = os.listdir(folder)
    install_other(before)
    with pytest.raises(RuntimeError, match=f"trying to overwrite '/{NEW}'"):
        before.install("snmp-app")
    assert os.listdir(folder) == had
    assert has_subsystem(before) is not taken_out
