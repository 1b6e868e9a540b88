"""The daemon as a process: its folders, configuration, log and signals."""

import base64
import ipaddress
import json
import os
import re
import select
import signal
import socket
import subprocess
import tempfile
import threading
import time

from .wait import TimedOut, wait_until

TREE = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))


class Daemon:
    """One daemon in a namespace, with folders of its own. Use it as a context manager: whatever
    happens inside, the process has ended and the folders are gone afterwards."""

    def __init__(self, namespace, build, level="detail"):
        self.namespace = namespace
        self.program = os.path.join(build, "src/app/snmp-app")
        self.level = level
        self.environment = {}  # further variables, over all others
        self._folder = tempfile.TemporaryDirectory(prefix="snmp-app-")
        self.configuration = os.path.join(self._folder.name, "etc")
        self.state = os.path.join(self._folder.name, "lib")
        os.mkdir(self.configuration)
        self.runtime = os.path.join(self._folder.name, "run")
        os.mkdir(self.state)
        self.process = None
        self.lines = []
        self.status = None  # what the service manager was told last
        self._news = threading.Condition()
        self._readers = []
        self._ready_records = 0

    def __enter__(self):
        return self

    def __exit__(self, *_):
        try:
            if self.process is not None and self.process.poll() is None:
                self.stop()
        except subprocess.TimeoutExpired:
            self.kill()
        finally:
            self._folder.cleanup()

    @property
    def startup_file(self):
        return os.path.join(self.configuration, "startup.json")

    @property
    def netconf_socket(self):
        return os.path.join(self.runtime, "netconf.sock")

    @property
    def running_file(self):
        return os.path.join(self.state, "running.json")

    def write_startup(self, content):
        """Writes the start-up configuration: an object, or the text as it stands."""
        text = content if isinstance(content, str) else json.dumps(content, indent=2)
        with open(self.startup_file, "w", encoding="utf-8") as file:
            file.write(text)

    def start(self, wait=True):
        """Starts the process; waits until it says that it is ready."""
        notify_path = os.path.join(self._folder.name, "notify")
        if os.path.exists(notify_path):
            os.unlink(notify_path)
        self._notify = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._notify.bind(notify_path)
        environment = {
            **os.environ,
            "CONFIGURATION_DIRECTORY": self.configuration,
            "STATE_DIRECTORY": self.state,
            "RUNTIME_DIRECTORY": self.runtime,
            "SNMP_APP_MODELS": os.path.join(TREE, "yang"),
            "SNMP_APP_LOG_LEVEL": self.level,
            "NOTIFY_SOCKET": notify_path,
        }
        environment.pop("INVOCATION_ID", None)
        environment.update(self.environment)
        self.process = subprocess.Popen(
            self.namespace.command(self.program), env=environment, stdin=subprocess.DEVNULL,
            stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True)
        reader = threading.Thread(target=self._read, args=(self.process,), daemon=True)
        reader.start()
        self._readers.append(reader)
        if wait:
            self.wait_ready()

    def wait_ready(self, seconds=20.0):
        """Waits for READY=1 on the notification socket, and until the records up to it are read:
        what a test then finds missing was not written."""
        if not self.is_ready(seconds):
            raise TimedOut(f"the daemon is not ready, status {self.process.poll()}:\n" +
                           "\n".join(self.lines[-20:]))
        self._ready_records += 1
        self.wait_record(r" Ready\.$", count=self._ready_records)

    def is_ready(self, seconds=20.0):
        """Waits for READY=1; False where the process ends first or does not tell it in time."""
        deadline = time.monotonic() + seconds
        while self._is_told(deadline - time.monotonic()):
            if "READY=1" in self._notification(0):
                return True
        return False

    def _is_told(self, seconds):
        """Waits for a notification; False where none comes in time or the process has ended."""
        if self.process.poll() is not None:
            return False
        end = os.pidfd_open(self.process.pid)
        try:
            return self._notify in select.select([self._notify, end], [], [], max(seconds, 0))[0]
        finally:
            os.close(end)

    def _notification(self, seconds):
        """The lines of the next notification; none when there is none in that time."""
        self._notify.settimeout(seconds)
        try:
            lines = self._notify.recv(4096).decode().splitlines()
        except (socket.timeout, BlockingIOError):
            return []
        for line in lines:
            if line.startswith("STATUS="):
                self.status = line.partition("=")[2]
        return lines

    def last_status(self):
        """What the service manager was told as the status, when all notifications are read."""
        while self._notification(0):
            pass
        return self.status

    def _read(self, process):
        for line in process.stderr:
            with self._news:
                self.lines.append(line.rstrip("\n"))
                self._news.notify_all()

    def mark(self):
        """The number of records so far, for `since` of the searches."""
        return len(self.lines)

    def records(self, pattern, since=0):
        return [line for line in self.lines[since:] if re.search(pattern, line)]

    def wait_record(self, pattern, since=0, seconds=10.0, count=1):
        """The record that is the `count`-th match."""
        def enough():
            return len(self.records(pattern, since)) >= count
        with self._news:
            if not self._news.wait_for(enough, timeout=seconds):
                raise TimedOut(f"no record like {pattern!r} (x{count}) within {seconds:g} s:\n" +
                               "\n".join(self.lines[since:][-25:]))
        return self.records(pattern, since)[count - 1]

    def tell(self, number):
        """Sends a signal."""
        self.process.send_signal(number)

    def reload(self, content, seconds=20.0):
        """Gives a new start-up configuration and waits until the daemon has dealt with it."""
        self.write_startup(content)
        since = self.mark()
        self.tell(signal.SIGHUP)
        self.wait_ready(seconds)
        return since

    def stop(self, number=signal.SIGTERM, seconds=10.0):
        """Ends the process by a signal; returns its exit status when all records are read."""
        self.tell(number)
        return self.wait_end(seconds)

    def wait_end(self, seconds=10.0):
        """Waits until the process has ended; returns its exit status when all records are read."""
        status = self.process.wait(timeout=seconds)
        self._readers[-1].join(seconds)
        self._notify.close()
        return status

    def kill(self):
        return self.stop(signal.SIGKILL)


def configuration(ip, extra=(), enabled=True, port=161, communities=("public",)):
    """A start-up configuration of the agent."""
    return {
        "confd_dyncfg:confdConfig": {
            "snmpAgent": {"enabled": enabled, "ip": ip, "port": port, "extraIpPorts": list(extra)}
        },
        "SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB": {
            "snmpCommunityTable": {
                "snmpCommunityEntry": [
                    {"snmpCommunityIndex": name, "snmpCommunityName": name,
                     "snmpCommunitySecurityName": name} for name in communities
                ]
            }
        },
    }


def merged(*parts):
    """One configuration of several: containers are joined, anything else of a later one counts."""
    whole = {}
    for part in parts:
        for name, value in part.items():
            both = isinstance(value, dict) and isinstance(whole.get(name), dict)
            whole[name] = merged(whole[name], value) if both else value
    return whole


def transport_address(ip, port):
    """Address and port as the bytes of a TAddress, in base64."""
    octets = ipaddress.ip_address(ip).packed + port.to_bytes(2, "big")
    return base64.b64encode(octets).decode("ascii")


def targets(rows, tables):
    """The parts of a start-up configuration with these notification targets: address, port and
    VRF (or None) by name; the routing table of every VRF."""
    return {
        "metacli-internal:internal": vrf_config(tables),
        "snmp:snmp": {
            "target": [{"name": name, "ip": ip, "udp-port": port, **({"vrf": vrf} if vrf else {})}
                       for name, (ip, port, vrf) in rows.items()]
        },
        "SNMP-TARGET-MIB:SNMP-TARGET-MIB": {
            "snmpTargetAddrTable": {
                "snmpTargetAddrEntry": [
                    {"snmpTargetAddrName": name,
                     "snmpTargetAddrTAddress": transport_address(ip, port),
                     "snmpTargetAddrParams": "v2c"} for name, (ip, port, _) in rows.items()
                ]
            },
            "snmpTargetParamsTable": {
                "snmpTargetParamsEntry": [
                    {"snmpTargetParamsName": "v2c", "snmpTargetParamsMPModel": 1,
                     "snmpTargetParamsSecurityName": "public"}
                ]
            },
        },
    }


def vrf_config(tables):
    return {"vrf-config": {"stringTOindex": [{"name": name, "vrf-idx": table}
                                             for name, table in tables.items()]}}


def listening(ports, vrfs, tables):
    """The other parts of a start-up configuration: the UDP port of every L3 interface that is
    listened on, the VRF of every L3 interface that is in one, the routing table of every VRF."""
    interfaces = sorted({*ports, *vrfs})
    return {
        "metacli-internal:internal": vrf_config(tables),
        "config:config": {
            "interface": {
                "l3": [{"name": name, **({"vrf": vrfs[name]} if name in vrfs else {})}
                       for name in interfaces]
            }
        },
        "snmp:snmp": {
            "agent": {
                "listen": {
                    "interface": [{"name": f"l3-{name}", "udp-port": port}
                                  for name, port in ports.items()]
                }
            }
        },
    }


__all__ = ["Daemon", "configuration", "listening", "merged", "targets", "wait_until"]
