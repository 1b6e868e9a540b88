"""What cannot be read or kept ends the daemon or refuses a change, and changes nothing."""

import os

import pytest

from lab import snmp
from lab.daemon import configuration
from lab.network import Wrapped

ADDRESS = "198.51.100.1"


def files(folder):
    found = {}
    for name in os.listdir(folder):
        path = os.path.join(folder, name)
        if os.path.isfile(path):
            with open(path, "rb") as file:
                found[name] = file.read()
        else:
            found[name] = "a folder"
    return found


def ends_with_a_fault(daemon, pattern):
    since = daemon.mark()
    daemon.start(wait=False)
    assert daemon.process.wait(timeout=20) == 1
    daemon.wait_record(rf" fault .*{pattern}", since)
    assert not daemon.records("Ready", since)


@pytest.fixture
def stored(daemon, manager):
    """A daemon that has stored a configuration and ended, and whose start-up file is another one."""
    daemon.write_startup(configuration(ADDRESS, port=1161))
    daemon.start()
    assert daemon.stop() == 0
    daemon.write_startup(configuration(ADDRESS, port=1162))
    return daemon


@pytest.mark.parametrize("fault", [
    "openat:error=EIO", "openat:error=EMFILE", "openat:error=EACCES", "fstat,newfstatat:error=EIO",
    "read:error=EIO", "read:error=ENOMEM", "read:retval=0"])
def test_a_stored_file_that_cannot_be_read_stays(stored, router, manager, fault):
    before = files(stored.state)
    namespace = stored.namespace
    stored.namespace = Wrapped(router, "strace", "-D", "-f", "-q", "-o", "/dev/null", "-P",
                               stored.running_file, "-e", f"inject={fault}:when=1+")
    ends_with_a_fault(stored, f"stays as it is: .*{stored.running_file}")
    assert files(stored.state) == before
    stored.namespace = namespace
    stored.start()
    assert snmp.answers(manager, ADDRESS, port=1161)


def test_an_interrupted_read_is_made_again(stored, router, manager):
    stored.namespace = Wrapped(router, "strace", "-D", "-f", "-q", "-o", "/dev/null", "-P",
                               stored.running_file, "-e",
                               "inject=openat,fstat,newfstatat,read:error=EINTR:when=1")
    stored.start()
    assert snmp.answers(manager, ADDRESS, port=1161)


def test_a_folder_in_the_place_of_the_file_stays(daemon, manager):
    os.mkdir(daemon.running_file)
    daemon.write_startup(configuration(ADDRESS))
    ends_with_a_fault(daemon, "Is a directory")
    assert files(daemon.state) == {"running.json": "a folder"}


@pytest.mark.parametrize("count", [4, 10, 18])
def test_few_descriptors_are_a_fault(stored, router, count):
    before = files(stored.state)
    stored.namespace = Wrapped(router, "setpriv", "--bounding-set=-sys_resource", "prlimit",
                               f"--nofile={count}")
    # With 4 there is not even one for the event loop.
    reason = "epoll: Too many open files" if count == 4 else f"no more than {count} files may be open"
    ends_with_a_fault(stored, reason)
    assert files(stored.state) == before


def test_a_limit_of_file_sizes_refuses_the_commit(daemon, router, manager):
    daemon.namespace = Wrapped(router, "prlimit", "--fsize=2000")
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    before = files(daemon.state)
    since = daemon.reload(configuration(ADDRESS, [f"{ADDRESS}:{port}"
                                                  for port in range(10000, 10200)]))
    daemon.wait_record(r" fault .*refused.*running\.json\.tmp: File too large", since)
    assert files(daemon.state) == before
    assert snmp.answers(manager, ADDRESS)
    daemon.reload(configuration(ADDRESS, port=1161))
    assert snmp.answers(manager, ADDRESS, port=1161)


def test_a_folder_that_cannot_be_written_down_ends_it_and_a_start_has_what_is_stored(
        daemon, router, manager):
    daemon.write_startup(configuration(ADDRESS))
    daemon.start()
    daemon.stop()
    namespace = daemon.namespace
    daemon.namespace = Wrapped(router, "strace", "-D", "-f", "-q", "-o", "/dev/null", "-e",
                               "inject=fsync:error=EIO:when=2")
    daemon.start()
    daemon.write_startup(configuration(ADDRESS, port=1161))
    daemon.tell(1)
    assert daemon.process.wait(timeout=20) == 1
    daemon.wait_record(" fault .*ending, to start with what is stored: .*cannot write folder")
    daemon.namespace = namespace
    daemon.start()
    assert snmp.answers(manager, ADDRESS, port=1161)
