"""What the service manager is told as the daemon's status."""

import json
import os
import signal

from lab import snmp
from lab.daemon import configuration

ADDRESS = "198.51.100.1"


def test_status_tells_how_the_configuration_came_about(daemon, manager):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    assert daemon.last_status() == f"Ready; {daemon.startup_file} was taken"
    daemon.reload(configuration(ADDRESS, port=0))
    assert daemon.last_status().startswith(
        f"Ready; start-up configuration refused, the running one stays: {daemon.startup_file}: ")
    daemon.tell(signal.SIGTERM)
    assert daemon.process.wait(timeout=10) == 0
    assert daemon.last_status() == "Ending"
    daemon.start()
    assert daemon.last_status() == "Ready; the stored configuration was taken"


def test_a_stored_file_of_another_release_is_moved_aside_and_told(daemon, manager):
    other = configuration(ADDRESS, port=1162)
    other["confd_dyncfg:confdConfig"]["snmpAgent"]["colour"] = "blue"
    with open(daemon.running_file, "w", encoding="utf-8") as file:
        json.dump(other, file)
    daemon.write_startup(configuration(ADDRESS, port=1161))
    daemon.start()
    refusal = (f"{daemon.running_file} is none that this release takes, and is moved to "
               f"{daemon.running_file}.refused: ")
    daemon.wait_record(rf" fault .*{refusal}.*colour")
    assert daemon.last_status().startswith(f"Ready; {refusal}")
    assert daemon.last_status().endswith(f"; {daemon.startup_file} was taken")
    with open(daemon.running_file + ".refused", encoding="utf-8") as file:
        assert json.load(file) == other
    assert snmp.get(manager, ADDRESS, port=1161)


def test_a_stored_file_that_cannot_be_read_is_told_and_stays(daemon, manager):
    os.mkdir(daemon.running_file)
    daemon.write_startup(configuration(ADDRESS))
    daemon.start(wait=False)
    assert daemon.process.wait(timeout=20) == 1
    assert daemon.last_status() == ("the stored configuration cannot be taken, and stays as it is: "
                                    f"cannot read {daemon.running_file}: Is a directory")
    assert os.listdir(daemon.state) == ["running.json"]
