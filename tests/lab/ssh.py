"""The system's own SSH server in front of the daemon's NETCONF socket, on loopback."""

import os
import pwd
import subprocess
import tempfile

from .wait import wait_until


def real_user():
    """The user and group outside of this user namespace where root is all that it has, else None."""
    with open("/proc/self/uid_map", encoding="ascii") as file:
        inside, outside, count = map(int, file.read().split()[:3])
    if (inside, count) != (0, 1) or os.getuid() != 0:
        return None
    with open("/proc/self/gid_map", encoding="ascii") as file:
        return outside, int(file.read().split()[1])


def as_real_user():
    """The words in front of an SSH server: one that runs as root changes its groups, which the root
    of such a namespace may not. Seen as the user that it is, it need not."""
    user = real_user()
    return [] if user is None else ["unshare", "--user", f"--map-user={user[0]}",
                                    f"--map-group={user[1]}", "--"]


class Server:
    """An sshd with one user and one key, whose `netconf` subsystem is the daemon's socket, or what
    a drop-in file says; SNMP_APP_LAB_SSHD has further lines for its configuration. Use it as a
    context manager: the process has ended and the keys are gone afterwards."""

    def __init__(self, namespace, netconf_socket=None, port=2830, drop_in=None):
        self.namespace, self.port = namespace, port
        self.user = pwd.getpwuid((real_user() or (os.getuid(),))[0]).pw_name
        self._folder = tempfile.TemporaryDirectory(prefix="snmp-app-ssh-")
        self.key = os.path.join(self._folder.name, "key")
        host_key = os.path.join(self._folder.name, "host-key")
        for path in (self.key, host_key):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", path], check=True)
        subsystem = f"Include {drop_in}" if drop_in else (
            f"Subsystem netconf socat STDIO UNIX-CONNECT:{netconf_socket}")
        configuration = os.path.join(self._folder.name, "sshd_config")
        with open(configuration, "w", encoding="ascii") as file:
            file.write(f"""ListenAddress 127.0.0.1:{port}
HostKey {host_key}
AuthorizedKeysFile {self.key}.pub
PidFile none
StrictModes no
UsePAM no
PermitRootLogin prohibit-password
{os.environ.get("SNMP_APP_LAB_SSHD", "")}
{subsystem}
""")
        os.makedirs("/run/sshd", exist_ok=True)
        self.process = subprocess.Popen(
            namespace.command(*as_real_user(), "/usr/sbin/sshd", "-D", "-e", "-f", configuration),
            stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)

    def __enter__(self):
        try:
            wait_until(self._listens, "an SSH server")
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.process.kill()
        self.process.wait()
        self._folder.cleanup()

    def _listens(self):
        return str(self.port) in self.namespace.run("ss", "-Hltn", "sport", "=", str(self.port))
