"""The package that was built, and a throw-away copy of this machine that it is installed on."""

import glob
import os
import shutil
import subprocess
import sys
import tempfile

import pytest

TESTS = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path[:0] = [TESTS, os.path.join(TESTS, "..", "demo")]
# pylint: disable=wrong-import-position
from lab.network import claim_run_folder, run
from lab.site import Site


NAMES = ("snmp-app", "snmp-app-netconf")


@pytest.fixture(scope="session")
def packages():
    """The path of each package in the build folder, by its name."""
    folder = os.environ["SNMP_APP_PACKAGE_BUILD"]
    found = {name: glob.glob(os.path.join(folder, f"{name}_*.deb")) for name in NAMES}
    assert all(len(paths) == 1 for paths in found.values()), f"one of each expected: {found}"
    return {name: paths[0] for name, paths in found.items()}


@pytest.fixture(scope="session")
def content(packages, tmp_path_factory):
    """The files of the daemon's package, unpacked."""
    folder = tmp_path_factory.mktemp("content")
    run("dpkg-deb", "-x", packages["snmp-app"], str(folder))
    yield folder
    shutil.rmtree(folder)


class Root:
    """This machine's root file system, where what is written goes to memory and is forgotten."""

    def __init__(self):
        self._folder = tempfile.mkdtemp(prefix="snmp-app-root-")
        self.path = os.path.join(self._folder, "root")
        layer = os.path.join(self._folder, "layer")
        try:
            for name in (self.path, layer):
                os.mkdir(name)
            run("mount", "-t", "tmpfs", "tmpfs", layer)
            for name in ("upper", "work"):
                os.mkdir(os.path.join(layer, name))
            run("mount", "-t", "overlay", "overlay", "-o",
                f"lowerdir=/,upperdir={layer}/upper,workdir={layer}/work", self.path)
            run("mount", "-t", "proc", "proc", self.inside("/proc"))
            run("mount", "--rbind", "/dev", self.inside("/dev"))
            run("mount", "-t", "tmpfs", "tmpfs", self.inside("/run"))
        except BaseException:
            self.remove()
            raise

    def inside(self, path):
        return self.path + path

    def run(self, *words):
        return run("chroot", self.path, *words)

    def dpkg(self, *words):
        """What dpkg prints, which does not do what other packages would do next, such as man-db's
        index of all pages."""
        done = subprocess.run(["chroot", self.path, "dpkg", "--no-triggers", *words],
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                              check=False)
        if done.returncode != 0:
            raise RuntimeError(done.stdout)
        return done.stdout

    def install(self, *names):
        """Installs the packages of these names in one go."""
        return self.dpkg("--install", *(f"/run/package/{name}.deb" for name in names))

    def remove(self):
        for name in ("root", "layer"):
            subprocess.run(["umount", "--recursive", "--lazy", os.path.join(self._folder, name)],
                           capture_output=True, check=False)
        for name in ("root", "layer"):
            folder = os.path.join(self._folder, name)
            # Nothing of a file system that is still mounted is ever deleted: it must be empty.
            if os.path.isdir(folder):
                os.rmdir(folder)
        os.rmdir(self._folder)


def why_not_root():
    """Why nothing can be installed here, or None."""
    if os.getuid() != 0:
        return "not root"
    with open("/proc/self/uid_map", encoding="ascii") as file:
        if int(file.read().split()[2]) < 65536:
            return "root of a user namespace only, which has no other users"
    return None


@pytest.fixture(scope="session")
def run_folder():
    reason = why_not_root()
    if reason:
        pytest.skip(reason)
    claim_run_folder()


@pytest.fixture
def bare_root(run_folder, packages):
    """A copy of this machine that the packages can be installed on."""
    copy = Root()
    try:
        os.makedirs(copy.inside("/run/package"))
        for name, path in packages.items():
            shutil.copy(path, copy.inside(f"/run/package/{name}.deb"))
        yield copy
    finally:
        copy.remove()


@pytest.fixture
def root(bare_root):
    """A copy of this machine with both packages installed."""
    bare_root.install(*NAMES)
    return bare_root


@pytest.fixture
def site(run_folder):
    with Site() as instance:
        yield instance
