"""The bench, the table, and where the IETF's models have to be."""

import os
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# pylint: disable=wrong-import-position
from lab.daemon import TREE
from lab.network import claim_run_folder
from netconf_conformance.bench import Bench
from netconf_conformance.checks import Table


def pytest_configure(config):
    claim_run_folder()
    config.conformance_table = Table()


def pytest_terminal_summary(terminalreporter, config):
    lines = list(config.conformance_table.lines())
    if lines:
        terminalreporter.section("conformance")
        for line in lines:
            terminalreporter.write_line(line)


@pytest.fixture(scope="session")
def table(request):
    return request.config.conformance_table


@pytest.fixture(scope="session")
def shared_bench():
    build = os.environ.get("SNMP_APP_BUILD", os.path.join(TREE, "build/release"))
    with Bench(build) as bench:
        yield bench


@pytest.fixture
def bench(shared_bench):
    yield shared_bench
    shared_bench.put_back()
