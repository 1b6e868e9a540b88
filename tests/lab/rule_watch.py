"""The kernel's own account of its routing rules: which were missing, and for how long."""

import re
import subprocess
import threading

from lab.wait import wait_until

LINE = re.compile(r"^\[(\S+)T(\d+):(\d+):([\d.]+)\] (Deleted )?(\d+):\s+(.*)$")
DESTINATION = re.compile(r"to (\S+) ipproto udp dport (\S+) lookup (\S+)")

# Bytes of notifications that may wait, as far as net.core.rmem_max lets them: without room the
# kernel drops them.
BUFFER = 4 << 20


class RuleWatch:
    """Reads `ip monitor rule` of a namespace from the moment it is made until finish()."""

    def __init__(self, namespace):
        self._namespace = namespace
        self._missing_since = {}
        self._there = {}
        self._last = 0.0
        self.deletions = 0
        self.longest = 0.0
        self._seen = set()
        for line in namespace.ip("-4", "rule", "list").splitlines():
            self._count(line, 1, 0.0)
        self._process = subprocess.Popen(
            namespace.command("ip", "-4", "-ts", "-rcvbuf", str(BUFFER), "monitor", "rule"),
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()
        wait_until(lambda: self._is_told(1), "the kernel's notifications")

    def _is_told(self, number):
        """Whether a rule of the watch's own, made and removed, has been read."""
        rule = ("priority", str(number), "fwmark", str(number), "lookup", "main")
        self._namespace.ip("rule", "add", *rule)
        self._namespace.ip("rule", "del", *rule)
        return number in self._seen

    def _count(self, text, change, seconds):
        found = DESTINATION.search(text)
        if found is None:
            return
        key = found.groups()
        self._there[key] = self._there.get(key, 0) + change
        if self._there[key] == 0:
            self._missing_since[key] = seconds
        elif self._there[key] == 1 and key in self._missing_since:
            self.longest = max(self.longest, seconds - self._missing_since.pop(key))

    def _read(self):
        for line in self._process.stdout:
            match = LINE.match(line)
            if match is None:
                continue
            _, hours, minutes, rest, deleted, priority, text = match.groups()
            self._last = int(hours) * 3600 + int(minutes) * 60 + float(rest)
            self.deletions += bool(deleted and "proto 175" in text)
            self._count(text, -1 if deleted else 1, self._last)
            self._seen.add(int(priority))

    def finish(self):
        """Ends the watch. Afterwards `longest` is the longest time that a destination that is there
        again had no rule, in seconds, and `missing` has those that have none any more."""
        wait_until(lambda: self._is_told(2), "the end of the kernel's notifications")
        self._process.terminate()
        self._reader.join()
        with self._process as process:
            complaints = process.stderr.read()
        if complaints:
            raise RuntimeError(f"rules were changed unseen: {complaints}")
        return self

    @property
    def missing(self):
        return sorted(self._missing_since)
