"""The system's own SSH server in front of the daemon's NETCONF socket, on loopback."""

import getpass
import os
import subprocess
import tempfile

from .wait import wait_until


class Server:
    """An sshd with one user and one key, whose `netconf` subsystem is the daemon's socket. Use it
    as a context manager: the process has ended and the keys are gone afterwards."""

    def __init__(self, namespace, netconf_socket, port=2830):
        self.namespace, self.port, self.user = namespace, port, getpass.getuser()
        self._folder = tempfile.TemporaryDirectory(prefix="snmp-app-ssh-")
        self.key = os.path.join(self._folder.name, "key")
        host_key = os.path.join(self._folder.name, "host-key")
        for path in (self.key, host_key):
            subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", path], check=True)
        configuration = os.path.join(self._folder.name, "sshd_config")
        with open(configuration, "w", encoding="ascii") as file:
            file.write(f"""ListenAddress 127.0.0.1:{port}
HostKey {host_key}
AuthorizedKeysFile {self.key}.pub
PidFile none
StrictModes no
UsePAM no
PermitRootLogin prohibit-password
Subsystem netconf socat STDIO UNIX-CONNECT:{netconf_socket}
""")
        os.makedirs("/run/sshd", exist_ok=True)
        self.process = subprocess.Popen(
            namespace.command("/usr/sbin/sshd", "-D", "-e", "-f", configuration),
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
