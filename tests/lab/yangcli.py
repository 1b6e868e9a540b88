"""An operator's shell: yangcli, a NETCONF client that is there already, over a real SSH server."""

import os
import pwd
import re
import subprocess

from .network import run

# What yangcli prints of every reply to <edit-config>, <commit> and the like.
DONE = re.compile(r"^RPC OK Reply \d+ for session \d+:$", re.MULTILINE)
HEADING = re.compile(r"^RPC (?:Data|Error) Reply \d+ for session \d+:\n*", re.MULTILINE)

# yangcli keeps files in the home of its user, whatever HOME says; here an empty one that goes with it.
WITHOUT_HOME = ("unshare", "--mount", "--", "sh", "-c", 'mount -t tmpfs tmpfs "$0" && exec "$@"')


class Operator:
    """Runs yangcli commands in a namespace, on the SSH server that is given."""

    def __init__(self, namespace, server):
        self.namespace, self.server = namespace, server

    def command(self, *words):
        """The words that start yangcli, logged in."""
        return ["yangcli", "--server=127.0.0.1", f"--ncport={self.server.port}",
                f"--user={self.server.user}", f"--private-key={self.server.key}",
                f"--public-key={self.server.key}.pub", *words]

    def run(self, command):
        """The reply to one command, as yangcli prints it. An error is a reply, too; an edit is in
        the candidate until `commit`."""
        said = run(*self.namespace.command(
            *WITHOUT_HOME, pwd.getpwuid(os.getuid()).pw_dir,
            *self.command("--batch-mode", f"--run-command={command}")),
            timeout=60, stdin=subprocess.DEVNULL)
        if "NETCONF session established" not in said:
            raise RuntimeError(f"yangcli has no session: {said}")
        reply = said.partition("Checking Server Modules...")[2]
        lines = [line for line in reply.splitlines() if line and not line.startswith("Warning:")]
        return HEADING.sub("", DONE.sub("ok", "\n".join(lines)))
