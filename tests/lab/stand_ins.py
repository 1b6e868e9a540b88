"""What a service manager does for a document's commands, where none may be started."""

import json
import os
import re
import signal
import socket
import socketserver
import sys
import threading

if __name__ == "__main__":
    sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# pylint: disable=wrong-import-position
from lab.daemon import TREE
from lab.wait import TimedOut

UNIT = os.path.join(TREE, "packaging/snmp-app.service")


class ServiceManager:
    """What systemctl and journalctl do for the commands of a document, without a service manager:
    the daemon and the SSH server are started, told and ended as the unit files have it."""

    def __init__(self, daemon, sshd, shell):
        self.daemon, self.sshd, self.shell = daemon, sshd, shell

    def answer(self, program, *words):
        """The output of a command. Whatever these do not know is an error."""
        if program == "journalctl":
            return self.journal(*words)
        if words == ("daemon-reload",):
            return ""
        *verb, unit = words
        if unit == "ssh" and verb in (["reload"], ["restart"]):
            self.sshd.restart()
        elif unit == "snmp-app" and verb == ["show", "-p", "StatusText"]:
            return f"StatusText={self.daemon.last_status()}\n"
        elif unit == "snmp-app":
            self.change(*verb)
        else:
            raise ValueError(f"no stand-in for {program} {' '.join(words)}")
        return ""

    def change(self, verb, *options):
        """Starts, ends or tells the daemon."""
        if verb in ("stop", "restart"):
            self.daemon.stop()
        if verb in ("start", "restart"):
            self.daemon.level = self.log_level()
            self.daemon.start()
        elif verb == "reload":
            with open(UNIT, encoding="utf-8") as file:
                check, tell = re.findall(r"^ExecReload=(.*)$", file.read(), re.MULTILINE)
            assert tell == "/bin/kill -HUP $MAINPID"
            self.shell(check.replace("/usr/sbin/snmp-app", self.daemon.program)
                       .replace("${CONFIGURATION_DIRECTORY}", self.daemon.configuration))
            self.daemon.tell(signal.SIGHUP)
            self.daemon.wait_ready()
        elif verb == "kill":
            self.daemon.tell(signal.Signals["SIG" + options[options.index("-s") + 1]])
        elif verb != "stop":
            raise ValueError(f"no stand-in for systemctl {verb}")

    def log_level(self):
        """What the drop-ins of the unit set."""
        said = self.shell("cat /etc/systemd/system/snmp-app.service.d/*.conf 2>/dev/null || true")
        variables = dict(re.findall(r"^Environment=(\w+)=(\S+)$", said, re.MULTILINE))
        level = variables.pop("SNMP_APP_LOG_LEVEL", "progress")
        if variables:
            raise ValueError(f"no stand-in for {variables}")
        return level

    def journal(self, *words):
        """The daemon's records as the journal has them."""
        options = dict(zip(words[::2], words[1::2]))
        assert options.pop("-u") == "snmp-app"
        lines = [re.sub(r"^\S+ ", f"... router snmp-app[{self.daemon.process.pid}]: ", line)
                 for line in self.daemon.lines if re.search(options.get("-g", ""), line)]
        return "".join(line + "\n" for line in lines[-int(options.get("-n", "0")):])


class StandIns:
    """Programs of these names in a folder, which ask a service manager of this process. Use it as a
    context manager."""

    def __init__(self, folder, manager, *names):
        path = os.path.join(folder, "socket")
        for name in names:
            program = os.path.join(folder, name)
            with open(program, "w", encoding="ascii") as file:
                file.write(f'#!/bin/sh\nexec /usr/bin/python3 "{os.path.abspath(__file__)}" '
                           f'"{path}" {name} "$@"\n')
            os.chmod(program, 0o755)

        class Handler(socketserver.StreamRequestHandler):
            """One command."""

            def handle(self):
                try:
                    reply = [0, manager.answer(*json.loads(self.rfile.readline()))]
                except (Exception, TimedOut) as error:  # pylint: disable=broad-except
                    reply = [1, f"stand-in: {error!r}\n"]
                self.wfile.write(json.dumps(reply).encode())

        self._server = socketserver.ThreadingUnixStreamServer(path, Handler)
        self._thread = threading.Thread(target=self._server.serve_forever, daemon=True)

    def __enter__(self):
        self._thread.start()
        return self

    def __exit__(self, *_):
        self._server.shutdown()
        self._server.server_close()
        self._thread.join()


def ask(path, *words):
    """A stand-in's part: passes its words on and prints the answer."""
    with socket.socket(socket.AF_UNIX) as connection:
        connection.connect(path)
        connection.sendall(json.dumps(words).encode() + b"\n")
        with connection.makefile() as file:
            status, text = json.load(file)
    sys.stdout.write(text)
    return status


if __name__ == "__main__":
    sys.exit(ask(*sys.argv[1:]))
