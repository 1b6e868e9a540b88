"""The benches, the table, and what they are asked for."""

import os
import secrets
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# pylint: disable=wrong-import-position
from faults import trace
from faults.bench import Bench
from faults.preloaded import preloads
from faults.table import Table
from lab.daemon import TREE
from lab.network import claim_run_folder

# They keep two processors busy: half of a trial is waiting.
BENCHES = 3


def part(text):
    number, parts = map(int, text.split("/"))
    if not 1 <= number <= parts:
        raise ValueError(text)
    return number, parts


def pytest_addoption(parser):
    parser.addoption("--all", action="store_true", help="every case, not a sample of them")
    parser.addoption("--slice", type=part, default=(1, 1), metavar="NUMBER/PARTS",
                     help="with --all: one of so many parts of the cases")


def pytest_configure(config):
    claim_run_folder()
    seed = os.environ.get("FAULTS_SEED") or secrets.randbelow(10 ** 9)
    config.faults_table = Table(int(seed), config.getoption("--all"), config.getoption("--slice"))


def pytest_terminal_summary(terminalreporter, config):
    lines = config.faults_table.lines()
    if lines:
        terminalreporter.section("faults")
        for line in lines:
            terminalreporter.write_line(line)


@pytest.fixture(scope="session")
def build():
    return os.environ.get("SNMP_APP_BUILD", os.path.join(TREE, "build/release"))


@pytest.fixture(scope="session")
def all_benches(build):
    benches = []
    try:
        for number in range(BENCHES):
            benches.append(Bench(number, build))
        yield benches
    finally:
        for bench in benches:
            with bench:
                pass


@pytest.fixture
def benches(all_benches):
    """Benches without a daemon, and with nothing stored."""
    for bench in all_benches:
        bench.clear()
    return all_benches


@pytest.fixture
def loaded(benches, build):
    """A Preload for each bench's daemon, from its next start on."""
    with preloads(benches, build) as instances:
        yield instances


@pytest.fixture
def row(pytestconfig, request):
    """The row of a test: named by `request.param`, or by the test."""
    name = getattr(request, "param", request.node.name.removeprefix("test_").replace("_", " "))
    return pytestconfig.faults_table.row(name)


@pytest.fixture(scope="session")
def strace():
    """Skips what needs system calls of the daemon to be spoilt where that is not permitted."""
    reason = trace.why_not()
    if reason:
        pytest.skip(reason)
