"""What bash offers behind the commands."""

import os
import subprocess

import pytest

from lab.daemon import TREE, Daemon, configuration, listening, merged, targets
from lab.site import DEFAULT, FAR, TABLES

needs_models = pytest.mark.skipif(
    not os.path.exists("/usr/share/yuma/modules/ietf/ietf-netconf@2011-06-01.yang"),
    reason="the IETF's models are missing (package libyuma-base)")


@pytest.fixture(name="daemon")
def running_daemon(site, build):
    with Daemon(site.router, build) as instance:
        instance.write_startup(merged(
            configuration(DEFAULT),
            listening({"eth1": 161, "eth0": 1161}, {"eth1": "red"}, TABLES),
            targets({"noc": (FAR, 162, "red"), "main": (FAR, 163, None)}, TABLES)))
        instance.start()
        yield instance


COMPLETE = """
source "$1"
COMP_WORDBREAKS=$' \\t\\n"\\'><=;|&(:'
COMP_LINE=$3 COMP_POINT=${#3} COMP_TYPE=9
read -ra COMP_WORDS <<<"$3"
[[ $3 != *' ' ]] || COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
"$2"
printf '%s\\n' "${COMPREPLY[@]}"
"""


def completed(line, build=None, directory=None):
    """What bash offers behind a line."""
    name = os.path.basename(line.split()[0])
    done = subprocess.run(
        ["bash", "--norc", "-c", COMPLETE, "bash",
         os.path.join(TREE, "packaging/completion", name), "_" + name.replace("-", "_"), line],
        capture_output=True, text=True, check=True, cwd=directory,
        env={**os.environ, "SNMP_APP_MODELS": os.path.join(TREE, "yang"),
             "PATH": f"{build}/client:/usr/bin:/bin"})
    assert done.stderr == ""
    return sorted(done.stdout.split())


def test_options_of_the_daemon(tmp_path):
    (tmp_path / "startup.json").touch()
    assert completed("snmp-app ") == ["--check", "--help", "--version"]
    assert completed("snmp-app --c") == ["--check"]
    assert completed("snmp-app --check start", directory=tmp_path) == ["startup.json"]
    assert completed("snmp-app --help ") == []


@needs_models
def test_options_kinds_and_names(daemon, build):
    line = f"snmp-app-show --socket {daemon.netconf_socket} "
    assert completed(line + "--p", build) == ["--prometheus"]
    assert completed(line, build) == ["interface", "listener", "target"]
    assert completed(line + "int", build) == ["interface"]
    assert completed(line + "interface ", build) == ["l3-eth0", "l3-eth1"]
    assert completed(line + "target noc ma", build) == ["main"]
    assert completed(line + "listener ", build) == [
        "0.0.0.0:60600", f"{DEFAULT}:161", "[::]:60600"]
    assert completed(line + f"listener {DEFAULT}:1", build) == ["161"]
    assert completed("snmp-app-show --socket /nowhere target ", build) == []


def test_options_are_those_of_the_usage(build):
    usage = subprocess.run([os.path.join(build, "client/snmp-app-show"), "--help"],
                           capture_output=True, text=True, check=True).stdout
    assert len(completed("snmp-app-show -")) == 6
    for option in completed("snmp-app-show -"):
        assert option in usage
