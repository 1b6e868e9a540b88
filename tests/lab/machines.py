"""Machines where the commands of a document run as they are written."""

import contextlib
import os
import shutil
import signal
import subprocess
import tempfile

from .daemon import TREE, Daemon
from .site import DEFAULT, Site
from .ssh import as_real_user, real_user
from .stand_ins import ServiceManager, StandIns
from .wait import wait_until

MOUNTS = """set -e
mount -t tmpfs tmpfs "$0"
mkdir -p "$0/home/.ssh" "$0/etc/upper/systemd/system"
for place in etc var/lib; do
  mkdir -p "$0/$place/upper" "$0/$place/work"
  mount -t overlay overlay -o \
    "lowerdir=/$place,upperdir=$0/$place/upper,workdir=$0/$place/work" "/$place"
done
mount -t tmpfs tmpfs /etc/ssh
mkdir -p /etc/ssh/sshd_config.d /etc/snmp-app /var/lib/snmp-app
mount -o remount,bind,ro /
echo mounted
exec cat
"""


class Files:
    """A mount namespace in which the machine's own files are seen, and what is written below /etc,
    /var/lib and `home` goes to memory and is forgotten. Use it as a context manager."""

    def __init__(self):
        self._layer = tempfile.mkdtemp(prefix="snmp-app-files-")
        self.home = os.path.join(self._layer, "home")
        # pylint: disable=consider-using-with
        self._holder = subprocess.Popen(
            ["unshare", "--mount", "--", "sh", "-c", MOUNTS, self._layer],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def __enter__(self):
        if self._holder.stdout.readline() != "mounted\n":
            self.__exit__()
            raise RuntimeError("no private view of the machine's files")
        return self

    def __exit__(self, *_):
        """The mounts go with the last process inside."""
        self._holder.stdin.close()
        self._holder.wait()
        self._holder.stdout.close()
        os.rmdir(self._layer)

    def command(self, *words):
        """The words that run a command with this view."""
        return ["nsenter", f"--mount=/proc/{self._holder.pid}/ns/mnt", "--", *words]


class Host:
    """A host of the demo network with a view of files."""

    def __init__(self, namespace, files):
        self._namespace, self._files = namespace, files

    def command(self, *words):
        """The words that run a command there."""
        return self._namespace.command(*self._files.command(*words))


# A root with a key and without a password, whatever the machine's own root has. The daemon runs as
# root here, so that its own user and group are root by another name.
ACCOUNTS = """set -e
replace() {{ cat >"$1.new" && mv "$1.new" "$1"; }}
cat - /etc/passwd <<'END' | replace /etc/passwd
root:x:{user}:{group}:root:{home}:/bin/bash
shell:x:0:0:root:{home}:/bin/bash
snmp-app:x:0:0::/nonexistent:/usr/sbin/nologin
END
(echo 'snmp-app:x:0:'; cat /etc/group) | replace /etc/group
echo 'root:*:1::::::' | replace /etc/shadow
printf '%s: files\\n' passwd group shadow hosts services protocols | replace /etc/nsswitch.conf
replace /etc/ssh/sshd_config <<'END'
Include /etc/ssh/sshd_config.d/*.conf
ListenAddress {address}
HostKey /etc/ssh/ssh_host_ed25519_key
AuthorizedKeysFile {home}/.ssh/id_ecdsa.pub
PidFile none
StrictModes no
UsePAM no
END
cp '{tree}/packaging/sshd-netconf.conf' /etc/ssh/sshd_config.d/50-snmp-app.conf
ssh-keygen -q -t ed25519 -N '' -f /etc/ssh/ssh_host_ed25519_key
"""


class SshServer:
    """The system's own sshd on the router, with the configuration that is in /etc/ssh there. Its
    root logs in by a key. In a user namespace the server runs as the one user that there is, and
    root is that user's name."""

    def __init__(self, router, shell, home):
        self._router, self._process = router, None
        os.makedirs("/run/sshd", exist_ok=True)
        user, group = real_user() or (0, 0)
        if user != 0:
            shell("sysctl -q net.ipv4.ip_unprivileged_port_start=0")
        shell(ACCOUNTS.format(user=user, group=group, home=home, address=DEFAULT,
                              tree=TREE))

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def restart(self):
        """Ends it and starts it with the configuration as it is now."""
        self.stop()
        # pylint: disable=consider-using-with
        self._process = subprocess.Popen(
            self._router.command(*as_real_user(), "/usr/sbin/sshd", "-D", "-e"),
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        wait_until(self._listens, "an SSH server")

    def stop(self):
        """Ends it."""
        if self._process is not None:
            self._process.kill()
            self._process.wait()
        self._process = None

    def _listens(self):
        listing = subprocess.run(self._router.command("ss", "-Hltn", "src", DEFAULT),
                                 capture_output=True, text=True, check=True)
        return DEFAULT in listing.stdout


class Machines:
    """The demo site with the daemon installed on its router, and a shell on every host. Use it as a
    context manager: nothing of it is left afterwards."""

    def __init__(self, build):
        self._build = os.path.abspath(build)
        self._stack = contextlib.ExitStack()
        self._files = self._programs = self.daemon = None
        self.hosts = {}

    def __enter__(self):
        with self._stack:
            self._make_hosts()
            self._install()
            self._stack = self._stack.pop_all()
        return self

    def __exit__(self, *_):
        self._stack.close()

    def _make_hosts(self):
        site = self._stack.enter_context(Site())
        self._files = self._stack.enter_context(Files())
        namespaces = {"router": site.router, "noc": site.managers["default"],
                      "red": site.managers["red"], "blue": site.managers["blue"]}
        self.hosts = {name: Host(namespace, self._files) for name, namespace in namespaces.items()}

    def _install(self):
        for folder in ("/run/snmp-app", "/run/sshd"):
            self._stack.callback(shutil.rmtree, folder, ignore_errors=True)
        self._programs = self._stack.enter_context(
            tempfile.TemporaryDirectory(prefix="snmp-app-document-"))
        for program in ("client/snmp-app-show", "src/app/snmp-app"):
            os.symlink(os.path.join(self._build, program),
                       os.path.join(self._programs, os.path.basename(program)))
        router = self.hosts["router"]
        self.daemon = self._stack.enter_context(Daemon(router, self._build, "progress"))
        self.daemon.configuration, self.daemon.state = "/etc/snmp-app", "/var/lib/snmp-app"
        self.daemon.runtime = "/run/snmp-app"
        sshd = self._stack.enter_context(SshServer(router, self.shell, self._files.home))
        manager = ServiceManager(self.daemon, sshd, self.shell)
        self._stack.enter_context(StandIns(self._programs, manager, "systemctl", "journalctl"))

    def run(self, host, text, seconds=60):
        """Runs a line of shell on a host: its status and all that it prints."""
        # The build's own folder, where programs would count what they reached, is read-only here.
        environment = {"PATH": f"{self._programs}:/usr/sbin:/usr/bin:/sbin:/bin", "LANG": "C.UTF-8",
                       "HOME": self._files.home, "GCOV_PREFIX": self._files.home,
                       "SNMP_APP_MODELS": os.path.join(TREE, "yang")}
        with subprocess.Popen(self.hosts[host].command("bash", "-c", 'cd; eval "$0"', text),
                              env=environment, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                              stderr=subprocess.STDOUT, text=True, start_new_session=True) as shell:
            try:
                output, _ = shell.communicate(timeout=seconds)
            except BaseException:
                os.killpg(shell.pid, signal.SIGKILL)
                raise
        return shell.returncode, output

    def shell(self, text):
        """What a line of shell on the router prints."""
        status, output = self.run("router", text)
        if status != 0:
            raise RuntimeError(f"{text}: status {status}\n{output}")
        return output

    def check(self, command):
        """Runs a document's command; the test fails when it does what the document does not say."""
        command.check(self.run)
