"""The daemon in surroundings that lack something, or have a journal."""

import os
import signal
import socket
import threading

import pytest

from conftest import ROUTER_ADDRESS
from lab import snmp
from lab.daemon import configuration
from lab.wait import wait_until

JOURNAL = "/run/systemd/journal/socket"


class Journal:
    """A journal's socket, in the test's own /run. Its reader keeps the queue empty: a sender waits
    while ten datagrams are in it."""

    def __init__(self):
        os.makedirs(os.path.dirname(JOURNAL), exist_ok=True)
        self.entries = []
        self._socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self._socket.bind(JOURNAL)
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def close(self):
        """An empty datagram ends the reader."""
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as sender:
            sender.sendto(b"", JOURNAL)
        self._reader.join()
        self._socket.close()
        os.unlink(JOURNAL)

    def _read(self):
        while data := self._socket.recv(65536):
            self.entries.append(dict(line.split("=", 1) for line in data.decode().splitlines()
                                     if "=" in line))

    def entry(self, text):
        """The fields of the first entry whose message has this text."""
        return wait_until(lambda: next((entry for entry in self.entries
                                        if text in entry["MESSAGE"]), None), f"an entry: {text}")


@pytest.fixture
def journal(daemon):
    instance = Journal()
    daemon.environment["INVOCATION_ID"] = "0123456789abcdef0123456789abcdef"
    yield instance
    instance.close()


def test_records_go_to_the_journal_under_a_service_manager(daemon, manager, journal):
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    daemon.start()
    fields = journal.entry("Initializing SNMP daemon.")
    assert fields["SYSLOG_IDENTIFIER"] == "snmp-app"
    assert fields["MESSAGE"] == ("notice   snmp-app [src/app/application:57 Run] "
                                 "Initializing SNMP daemon.")
    assert (fields["PRIORITY"], fields["SNMP_APP_CATEGORY"]) == ("5", "snmp-app")
    assert journal.entry("Ready.")["PRIORITY"] == "5"
    assert journal.entry("Loading SNMP agent configuration")["PRIORITY"] == "6"
    daemon.write_startup("nonsense")
    daemon.tell(signal.SIGHUP)
    fields = journal.entry("start-up configuration refused")
    assert (fields["PRIORITY"], fields["CODE_FUNC"]) == ("3", "ReplaceByStartupFile")
    assert fields["SNMP_APP_CATEGORY"] == "fault"


def test_standard_error_that_is_the_journal_gets_no_records(daemon, manager, journal, tmp_path):
    """Else each would be there twice. The daemon knows its standard error by device and inode."""
    script = tmp_path / "start"
    script.write_text("#!/bin/sh\nJOURNAL_STREAM=$(stat -Lc %d:%i /proc/$$/fd/2) "
                      f"exec {os.path.abspath(daemon.program)}\n", encoding="utf-8")
    script.chmod(0o755)
    daemon.program = str(script)
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    daemon.start(wait=False)
    journal.entry("Ready.")
    assert daemon.stop() == 0
    assert daemon.lines == []


@pytest.mark.parametrize("variable, record", [
    ("SNMP_APP_STANDARD_MODELS", r"No NETCONF: nowhere has no model ietf-netconf\."),
    ("SNMP_APP_NETCONF_GROUP", r" fault .*no NETCONF: .*nowhere"),
])
def test_without_netconf_it_does_the_rest(daemon, manager, variable, record):
    daemon.environment[variable] = "nowhere"
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    daemon.start()
    assert daemon.records(record)
    assert not os.path.exists(daemon.netconf_socket)
    assert snmp.get(manager, ROUTER_ADDRESS)
