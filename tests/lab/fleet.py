"""Many routers, and a host that manages them all."""

import contextlib
import os
import shutil
import subprocess
import tempfile

from . import ssh
from .daemon import TREE, Daemon, configuration
from .network import Namespace, connect

NOC = "198.51.100.200"
# The files that operators have in the package, and Debian's collections for Ansible where they are
# not installed, unpacked by scripts/ansible.sh.
EXAMPLES = os.path.join(TREE, "packaging/examples/fleet")
COLLECTIONS = os.path.join(TREE, "build/ansible/root/usr/lib/python3/dist-packages")
COMMON = "ansible_collections/ansible/netcommon"


def why_no_ansible():
    """Why there is no Ansible with NETCONF here, or None."""
    if shutil.which("ansible-playbook") is None:
        return "ansible-playbook is missing (package ansible-core)"
    if not any(os.path.isdir(os.path.join(folder, COMMON))
               for folder in (COLLECTIONS, "/usr/lib/python3/dist-packages")):
        return "Ansible's NETCONF is missing (package ansible, or scripts/ansible.sh)"
    return None


class Router:
    """One of them, with the address 198.51.100.NUMBER, the daemon and an SSH server. Use it as a
    context manager."""

    def __init__(self, build, noc, number, key=None):
        self.name, self.address = f"router{number}", f"198.51.100.{number}"
        self.service = f"192.0.2.{number}"  # another one, as the inventory has it; not there yet
        self._stack = contextlib.ExitStack()
        with self._stack:
            self.namespace = Namespace(self.name)
            self._stack.callback(self.namespace.remove)
            self._connect(noc, f"r{number}")
            self.daemon = self._stack.enter_context(Daemon(self.namespace, build, "progress"))
            self.daemon.write_startup(configuration(self.address))
            self.daemon.start(wait=False)
            if key is not None:
                self._stack.enter_context(ssh.Server(
                    self.namespace, self.daemon.netconf_socket, address=self.address, port=830,
                    key=key))
            self._stack = self._stack.pop_all()

    def _connect(self, noc, interface):
        connect(noc, interface, self.namespace, "eth0")
        noc.ip("route", "add", f"{self.address}/32", "dev", interface, "src", NOC)
        self.namespace.add_address("eth0", f"{self.address}/24")
        # An SSH server that is not root has no other right to the port.
        self.namespace.run("sysctl", "-q", "net.ipv4.ip_unprivileged_port_start=0")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._stack.close()


class Fleet:
    """The host `noc` and so many routers, reached from there by SSH unless this is not wanted. Use
    it as a context manager."""

    def __init__(self, build, count, with_ssh=True):
        self._stack = contextlib.ExitStack()
        with self._stack:
            self.home = self._stack.enter_context(
                tempfile.TemporaryDirectory(prefix="snmp-app-noc-"))
            self.noc = Namespace("noc")
            self._stack.callback(self.noc.remove)
            self.noc.add_address("lo", f"{NOC}/32")
            shutil.copytree(EXAMPLES, os.path.join(self.home, "fleet"))
            key = self._make_key() if with_ssh else None
            self.routers = [self._stack.enter_context(Router(build, self.noc, number, key))
                            for number in range(1, count + 1)]
            for router in self.routers:
                router.daemon.wait_ready()
            self._stack = self._stack.pop_all()

    def _make_key(self):
        os.mkdir(os.path.join(self.home, ".ssh"), mode=0o700)
        # Of the names that ncclient looks for.
        key = os.path.join(self.home, ".ssh/id_ecdsa")
        ssh.make_key(key, "ecdsa")
        return key

    def learn_host_keys(self):
        """Has the manager know the routers' host keys."""
        places = " ".join(router.address for router in self.routers)
        status, said = self.run(
            "noc", f"ssh-keyscan -t ed25519 -p 830 {places} >>~/.ssh/known_hosts")
        if status != 0:
            raise RuntimeError(said)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._stack.close()

    def command(self, host, text):
        """The words that run a line of shell on a host. What it leaves running ends with it."""
        namespace = next((router.namespace for router in self.routers if router.name == host),
                         self.noc)
        return namespace.command("unshare", "--pid", "--fork", "--kill-child", "--mount-proc",
                                 "bash", "-c", text)

    def environment(self):
        """That of a shell. Its home has the key that the routers take."""
        variables = {"PATH": "/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8",
                     "HOME": self.home, "ANSIBLE_COLLECTIONS_PATHS": COLLECTIONS,
                     "ANSIBLE_NOCOLOR": "1"}
        if ssh.real_user() is not None:
            variables["ANSIBLE_REMOTE_USER"] = ssh.user_name()
        return variables

    def run(self, host, text, seconds=300):
        """Runs a line of shell on a host, in its home: its status and all that it prints."""
        done = subprocess.run(self.command(host, text), env=self.environment(), cwd=self.home,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, check=False, timeout=seconds)
        return done.returncode, done.stdout
