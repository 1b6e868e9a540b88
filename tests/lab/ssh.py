"""The system's own SSH server in front of the daemon's NETCONF socket, on loopback."""

import os
import pwd
import subprocess

from .background import Background


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


def user_name():
    """The name of the user who logs in."""
    return pwd.getpwuid((real_user() or (os.getuid(),))[0]).pw_name


def make_key(path, kind="ed25519"):
    """A new key, its public half in a file of its own beside it."""
    subprocess.run(["ssh-keygen", "-q", "-t", kind, "-N", "", "-f", path], check=True)


class Server(Background):
    """An sshd with one user and one key, its own or the one given, whose `netconf` subsystem is the
    daemon's socket, or what a drop-in file says; SNMP_APP_LAB_SSHD has further lines for its
    configuration. Use it as a context manager: the process has ended and the keys that it made are
    gone afterwards."""

    def __init__(self, namespace, netconf_socket=None, drop_in=None, address="127.0.0.1", port=2830,
                 key=None):
        self.namespace, self.port = namespace, port
        self.user = user_name()
        super().__init__("an SSH server")
        self.key, host_key = key or self.path("key"), self.path("host-key")
        for path in (host_key, *([] if key else [self.key])):
            make_key(path)
        subsystem = f"Include {drop_in}" if drop_in else (
            f"Subsystem netconf socat STDIO UNIX-CONNECT:{netconf_socket}")
        configuration = self.write("sshd_config", f"""ListenAddress {address}:{port}
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

    def _serves(self):
        return str(self.port) in self.namespace.run("ss", "-Hltn", "sport", "=", str(self.port))
