"""A fleet of four routers and a host with Ansible, which manages them."""

import os
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# pylint: disable=wrong-import-position
from lab.daemon import TREE
from lab.fleet import Fleet, why_no_ansible
from lab.network import claim_run_folder


def pytest_configure():
    claim_run_folder()


@pytest.fixture
def fleet():
    reason = why_no_ansible()
    if reason:
        pytest.skip(reason)
    with Fleet(os.environ.get("SNMP_APP_BUILD", os.path.join(TREE, "build/release")), 4) as fleet:
        for router in fleet.routers:
            router.namespace.add_address("lo", f"{router.service}/32")
            fleet.noc.ip("route", "add", router.service, "via", router.address)
        yield fleet
