"""SNMP notifications: net-snmp's own sender and receiver."""

import os
import subprocess
import tempfile
import threading

from .background import Background
from .wait import wait_until

COLD_START = "1.3.6.1.6.3.1.1.5.1"


def environment(folder):
    return {**os.environ, "MIBS": "", "MIBDIRS": "", "SNMP_PERSISTENT_DIR": folder}


def send(namespace, address, port=162, community="public", oid=COLD_START):
    """Sends one SNMPv2c trap from a namespace, as any program there would."""
    with tempfile.TemporaryDirectory(prefix="snmp-app-trap-") as folder:
        namespace.run("snmptrap", "-v2c", "-c", community, f"udp:{address}:{port}", "", oid,
                      env=environment(folder))


class Receiver(Background):
    """A trap receiver at an address of a namespace. Use it as a context manager: the process has
    ended afterwards."""

    def __init__(self, namespace, address, port=162):
        self.namespace, self.address, self.port = namespace, address, port
        self.lines = []
        super().__init__(f"a trap receiver at {address}")
        configuration = self.write("snmptrapd.conf", "disableAuthorization yes\n")
        self.process = subprocess.Popen(
            namespace.command("snmptrapd", "-f", "-Lo", "-n", "-C", "-c", configuration, "-On",
                              "-F", "%b %v\\n", f"udp:{address}:{port}"),
            env=environment(self.path("")), stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT, text=True)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def close(self):
        super().close()
        self._reader.join(10)

    def _serves(self):
        listing = self.namespace.run("ss", "-Hlun", "sport", "=", str(self.port))
        return f"{self.address}:{self.port}" in listing

    def _read(self):
        for line in self.process.stdout:
            self.lines.append(line.rstrip("\n"))

    def traps(self):
        """The traps received so far, one line each: who sent it, and what it carries."""
        return [line for line in self.lines if "UDP:" in line]


def arrival(sender, address, receivers, port=162):
    """Sends one trap and waits until it arrives: the name of the receiver, of those given by name.
    A datagram arrives at one place, so the others do not have it then."""
    counts = {name: len(receiver.traps()) for name, receiver in receivers.items()}
    send(sender, address, port)
    return wait_until(lambda: next((name for name, receiver in receivers.items()
                                    if len(receiver.traps()) > counts[name]), None),
                      f"a trap to {address}:{port} at one of {', '.join(receivers)}")
