"""A commit that is stored and cannot be delivered ends the daemon; a start delivers all of it."""

import os
import signal

from lab import snmp
from lab.daemon import configuration

ADDRESS = "198.51.100.1"


def test_a_delivery_without_memory_ends_it_and_a_start_delivers_everything(daemon, build, manager):
    library = os.path.join(build, "tests/system/preload/libno_memory_after_save.so")
    assert os.path.exists(library), f"{library} is not built"
    daemon.write_startup(configuration(ADDRESS, communities=["old"]))
    daemon.start()
    assert daemon.stop() == 0
    daemon.environment["LD_PRELOAD"] = library
    daemon.start()
    since = daemon.mark()
    daemon.write_startup(configuration(ADDRESS, [f"{ADDRESS}:1161"], communities=["new"]))
    daemon.tell(signal.SIGHUP)
    assert daemon.process.wait(timeout=20) == 1
    daemon.wait_record(" fault .*ending, to start with what is stored", since)
    assert not daemon.records("in force\\.|Ready", since)
    del daemon.environment["LD_PRELOAD"]
    daemon.write_startup(configuration(ADDRESS, enabled=False))
    daemon.start()
    for port in (161, 1161):
        assert snmp.get(manager, ADDRESS, port=port, community="new")
    assert not snmp.get(manager, ADDRESS, community="old")
