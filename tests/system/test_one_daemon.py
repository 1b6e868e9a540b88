"""One daemon in a network namespace and with a state folder; a command line asks, and no more."""

import os
import signal
import socket
import subprocess

import pytest

from conftest import ROUTER_ADDRESS
from lab import snmp
from lab.daemon import Daemon, configuration, listening
from lab.network import Namespace
from lab.site import DEFAULT, RED, TABLES
from lab.wait import wait_until

NOBODY = 65534


def contents(*folders):
    """Every file of the folders: its inode, its time of change and what is in it."""
    found = {}
    for folder in folders:
        for place, _, names in os.walk(folder):
            found[place] = os.stat(place).st_mtime_ns
            for name in names:
                path = os.path.join(place, name)
                status = os.stat(path)
                if os.path.isfile(path):
                    with open(path, "rb") as file:
                        found[path] = (status.st_ino, status.st_mtime_ns, file.read())
                else:
                    found[path] = (status.st_ino, status.st_mtime_ns)
    return found


def seen(daemon, namespace):
    """What a second daemon could have touched."""
    def listing(*words):
        return namespace.run(*words)
    return (contents(daemon.configuration, daemon.state, daemon.runtime),
            listing("ip", "-4", "rule", "list"), listing("ip", "-6", "rule", "list"),
            listing("nft", "list", "ruleset"), listing("ss", "-Hlnu"), listing("ss", "-Hlnx"))


def busy(daemon, site):
    """Starts a daemon that has rules, redirects and stored files."""
    daemon.write_startup({**configuration(DEFAULT),
                          **listening({"eth1": 161}, {"eth1": "red"}, TABLES)})
    daemon.start()
    daemon.wait_record("Forced ConfD's bind of SNMP, returned 0: $")
    assert snmp.answers(site.managers["red"], RED)
    return seen(daemon, site.router)


def refused(second, status=1):
    """Starts a daemon that has to end by itself; its only record."""
    second.write_startup(configuration(ROUTER_ADDRESS))
    second.start(wait=False)
    assert second.process.wait(timeout=20) == status
    wait_until(lambda: second.lines, "a record")
    assert len(second.lines) == 1
    return second.lines[0]


@pytest.fixture
def first(site, build):
    with Daemon(site.router, build) as instance:
        yield instance


def ask(daemon, *arguments):
    return subprocess.run(daemon.namespace.command(daemon.program, *arguments),
                          capture_output=True, text=True, check=False, timeout=20,
                          env={**os.environ, "STATE_DIRECTORY": daemon.state,
                               "CONFIGURATION_DIRECTORY": daemon.configuration,
                               "RUNTIME_DIRECTORY": daemon.runtime})


@pytest.mark.parametrize("arguments, status", [
    (["--help"], 0), (["--version"], 0), (["--daemon"], 2), ([""], 2), (["--help", "x"], 2),
    (["--check"], 2), (["--check", "a", "b"], 2), (["--check", "/nowhere"], 1)])
def test_a_command_line_beside_a_daemon_changes_nothing(first, site, arguments, status):
    before = busy(first, site)
    mark = first.mark()
    done = ask(first, *arguments)
    assert done.returncode == status
    assert (done.stdout == "") == (status != 0) and (done.stderr == "") == (status == 0)
    assert seen(first, site.router) == before
    assert snmp.answers(site.managers["red"], RED) and snmp.answers(site.managers["default"],
                                                                    DEFAULT)
    assert first.mark() == mark


def test_command_lines_are_answered_without_any_folder_for_anybody(build, router):
    program = os.path.join(build, "src/app/snmp-app")
    missing = {"STATE_DIRECTORY": "/nowhere/lib", "CONFIGURATION_DIRECTORY": "/nowhere/etc",
               "RUNTIME_DIRECTORY": "/nowhere/run", "SNMP_APP_MODELS": "/nowhere/yang"}

    def run(*arguments):
        # The program's own folder may be root's alone.
        with open(program, "rb") as file:
            return subprocess.run(["snmp-app", *arguments], check=False, capture_output=True,
                                  text=True, env=missing, user=NOBODY, group=NOBODY, cwd="/",
                                  executable=f"/proc/self/fd/{file.fileno()}",
                                  pass_fds=[file.fileno()])

    done = run("--help")
    assert (done.returncode, done.stderr) == (0, "")
    for word in ("Usage: snmp-app", "startup.json", "running.json", "netconf.sock", "SIGHUP",
                 "STATE_DIRECTORY", "SNMP_APP_LOG_LEVEL", "snmp-app(8)"):
        assert word in done.stdout
    assert run("--version").stdout.split()[0] == "snmp-app"
    done = run("-h")
    assert (done.returncode, done.stdout) == (2, "")
    assert done.stderr == "snmp-app: unexpected argument '-h'\nTry 'snmp-app --help'.\n"
    assert not os.path.exists("/nowhere")


def test_an_answer_that_cannot_be_written_is_no_success(build, router):
    with open("/dev/full", "wb") as full:
        done = subprocess.run([os.path.join(build, "src/app/snmp-app"), "--help"], stdout=full,
                              check=False)
    assert done.returncode == 1


def test_a_second_daemon_with_other_folders_in_the_same_namespace(first, site, build):
    before = busy(first, site)
    with Daemon(site.router, build) as second:
        os.mkdir(second.runtime)
        others = contents(second.configuration, second.state, second.runtime)
        record = refused(second)
        assert record.endswith(f"code 0: another snmp-app, process {first.process.pid}, serves "
                               "this network namespace")
        os.unlink(second.startup_file)
        after = contents(second.configuration, second.state, second.runtime)
        assert after.keys() == others.keys()
        assert after[second.state] == others[second.state]
    assert seen(first, site.router) == before
    assert snmp.answers(site.managers["red"], RED)


def test_a_second_daemon_with_the_same_folder_in_another_namespace(first, site, build):
    before = busy(first, site)
    with Daemon(site.managers["red"], build) as second:
        second.environment["STATE_DIRECTORY"] = first.state
        record = refused(second)
        assert record.endswith(f"code 0: another snmp-app, process {first.process.pid}, works "
                               f"with the state folder {first.state}")
    assert seen(first, site.router) == before
    assert snmp.answers(site.managers["red"], RED)


def test_each_namespace_has_a_daemon_of_its_own(daemon, manager, build):
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    daemon.start()
    with Daemon(manager, build) as other:
        other.write_startup(configuration("198.51.100.100"))
        other.start()
        assert snmp.get(manager, ROUTER_ADDRESS)
    assert daemon.process.poll() is None


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGKILL])
def test_the_next_one_starts_at_once(daemon, manager, number):
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    for _ in range(5):
        daemon.start()
        daemon.stop(number)
    daemon.start()
    assert snmp.get(manager, ROUTER_ADDRESS)


def test_many_refusals_all_name_the_first(daemon, build):
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    daemon.start()
    with Daemon(daemon.namespace, build) as second:
        for _ in range(3):
            second.lines.clear()
            assert f"process {daemon.process.pid}, serves" in refused(second)


@pytest.fixture
def squatter(router):
    """A local user's process that has taken the name."""
    script = ("import socket, sys\ns = socket.socket(socket.AF_UNIX)\n"
              "s.bind('\\0snmp-app')\ns.listen()\nprint(flush=True)\nsys.stdin.read()")
    with subprocess.Popen(router.command("setpriv", f"--reuid={NOBODY}", f"--regid={NOBODY}",
                                         "--clear-groups", "/usr/bin/python3", "-c", script),
                          stdin=subprocess.PIPE, stdout=subprocess.PIPE) as process:
        process.stdout.readline()
        yield process
        process.stdin.close()


def test_a_local_user_cannot_keep_the_daemon_from_starting(squatter, daemon, manager):
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    daemon.start()
    daemon.wait_record(f" fault .*process {squatter.pid} of user {NOBODY} holds the name of "
                       "snmp-app in this network namespace")
    assert snmp.get(manager, ROUTER_ADDRESS)


def test_a_state_folder_that_cannot_be_made_is_told(daemon, manager):
    daemon.environment["STATE_DIRECTORY"] = "/proc/lib"
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    daemon.start()
    daemon.wait_record("/proc/lib: no folder to keep the configuration in: No such file or dir")


def test_a_folder_that_the_daemon_makes_is_its_own(daemon, manager, tmp_path):
    state = tmp_path / "deep" / "lib"
    daemon.environment["STATE_DIRECTORY"] = str(state)
    daemon.write_startup(configuration(ROUTER_ADDRESS))
    daemon.start()
    assert state.stat().st_mode & 0o777 == 0o700
    assert sorted(os.listdir(state)) == ["history", "running.json"]
