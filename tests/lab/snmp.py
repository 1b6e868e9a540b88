"""An SNMP manager: net-snmp's own command line tools."""

import os
import subprocess

SYS_DESCR = "1.3.6.1.2.1.1.1.0"
SYS_UPTIME = "1.3.6.1.2.1.1.3.0"


def get(namespace, address, port=161, community="public", oid=SYS_UPTIME, timeout=1.0):
    """The value as snmpget prints it, or None when there was no answer."""
    lines = get_all(namespace, address, [oid], port, community, timeout)
    return None if lines is None else "\n".join(lines)


def get_all(namespace, address, oids, port=161, community="public", timeout=1.0):
    """The values of one request, a line each, or None when there was no answer."""
    target = f"udp6:[{address}]:{port}" if ":" in address else f"udp:{address}:{port}"
    done = subprocess.run(
        namespace.command("snmpget", "-v2c", "-c", community, "-t", str(timeout), "-r", "0",
                          "-On", "-Oe", target, *oids),
        capture_output=True, text=True, check=False, env={**os.environ, "MIBS": "", "MIBDIRS": ""})
    return done.stdout.strip().splitlines() if done.returncode == 0 else None


def answers(namespace, address, port=161, timeout=1.0, source=None):
    """True when a request to address:port is answered from just there: the client's socket is
    connected, so the kernel keeps answers of other addresses and ports away from it. `source` is
    the address that the client sends from, else the kernel's choice."""
    command = namespace.command("/usr/bin/python3", os.path.join(os.path.dirname(__file__),
                                                                 "ask.py"),
                                address, str(port), str(timeout), *([source] if source else []))
    return subprocess.run(command, check=False).returncode == 0
