"""Start, end, roles, and doing nothing."""

import fcntl
import os
import signal
import socket
import subprocess
import time

import pytest

from lab import snmp
from lab.daemon import TREE, configuration
from lab.wait import wait_until

ADDRESS = "198.51.100.1"
FINISHED = "SNMP daemon has finished!"


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT])
def test_ends_within_a_second_with_status_0(daemon, manager, number):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    assert snmp.get(manager, ADDRESS)
    begin = time.monotonic()
    assert daemon.stop(number) == 0
    assert time.monotonic() - begin < 1.0
    assert len(daemon.records(FINISHED)) == 1
    assert not daemon.records(" fault ")


def test_touches_nothing_that_is_gone_while_it_ends(daemon, manager):
    """Freed memory is filled, so that a use of it shows; the watchdog's timer is one of the last."""
    daemon.environment.update(MALLOC_PERTURB_="165", WATCHDOG_USEC="30000000")
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    assert daemon.stop() == 0


def test_ends_while_a_retry_is_pending(daemon, manager):
    daemon.write_startup(configuration("198.51.100.77"))
    daemon.start()
    daemon.wait_record("Starting timer for new bind retry.")
    begin = time.monotonic()
    assert daemon.stop() == 0
    assert time.monotonic() - begin < 1.0


def test_records_carry_level_category_path_function_and_line(daemon, router):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    daemon.wait_record(r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3} notice   snmp-app "
                       r"\[src/app/application:\d+ Run\] Initializing SNMP daemon\.$")
    daemon.wait_record(r" progress snmp-app-agent "
                       r"\[src/app/snmp_cfg_agent:\d+ LoadInitialConfig\] "
                       r"Loading SNMP agent configuration$")


def test_ha_roles_are_logged_and_change_nothing(daemon, manager):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    daemon.tell(signal.SIGUSR1)
    daemon.wait_record(r"notice   snmp-app \[include/app/application:\d+ Execute\] "
                       r"SNMP daemon going Active\.$")
    daemon.tell(signal.SIGUSR2)
    daemon.wait_record("Execute. SNMP daemon going Standby.$")
    assert snmp.get(manager, ADDRESS)


def test_missing_models_are_a_fault_and_an_orderly_end(daemon, tmp_path, monkeypatch):
    monkeypatch.setattr("lab.daemon.TREE", str(tmp_path))
    daemon.write_startup(configuration(ADDRESS))
    daemon.start(wait=False)
    assert daemon.process.wait(timeout=10) == 0
    daemon.wait_record(r" fault \[src/app/application:69 Run\] code 0: Exception caught!")
    assert len(daemon.wait_record(FINISHED)) > 0
    assert len(daemon.records(FINISHED)) == 1


def test_idle_wakes_for_nothing(daemon, manager, capsys):
    """Counts the times that the process gave up the processor to wait, over 10 seconds."""
    def status(field):
        with open(f"/proc/{daemon.process.pid}/status", encoding="ascii") as file:
            return next(line for line in file if line.startswith(field)).split()[1]

    daemon.write_startup(configuration(ADDRESS, ["198.51.100.1:1161"]))
    daemon.start()
    assert snmp.get(manager, ADDRESS)
    wait_until(lambda: status("State:") == "S", "the daemon at rest")
    before = int(status("voluntary_ctxt_switches:"))
    with pytest.raises(subprocess.TimeoutExpired):
        daemon.process.wait(timeout=10)
    woken = int(status("voluntary_ctxt_switches:")) - before
    with capsys.disabled():
        print(f"\nidle for 10 s: woken {woken} times")
    assert woken == 0


def test_ends_in_order_while_nobody_reads_its_records(router, daemon):
    """Standard error and the service manager's socket are full, and stay so."""
    read, write = os.pipe()
    fcntl.fcntl(write, fcntl.F_SETPIPE_SZ, 4096)
    daemon.write_startup(configuration(ADDRESS))
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as manager:
        manager.bind("\0snmp-app-unread-manager")
        with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as other:
            other.setblocking(False)
            with pytest.raises(BlockingIOError):
                while True:
                    other.sendto(b"FILL=1", "\0snmp-app-unread-manager")
        environment = {**os.environ, "CONFIGURATION_DIRECTORY": daemon.configuration,
                       "STATE_DIRECTORY": daemon.state, "RUNTIME_DIRECTORY": daemon.runtime,
                       "SNMP_APP_MODELS": os.path.join(TREE, "yang"),
                       "SNMP_APP_LOG_LEVEL": "detail",
                       "NOTIFY_SOCKET": "@snmp-app-unread-manager"}
        with subprocess.Popen(router.command(daemon.program), env=environment,
                              stderr=write) as process:
            os.close(write)
            try:
                wait_until(lambda: os.path.exists(daemon.netconf_socket), "the socket", 20)
                process.send_signal(signal.SIGTERM)
                assert process.wait(timeout=10) == 0
            finally:
                process.kill()
    os.close(read)
