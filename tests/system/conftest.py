"""A router with the daemon and a manager that asks it, new for every test."""

import os
import sys

import pytest

sys.path.insert(0, os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# pylint: disable=wrong-import-position
from lab.daemon import TREE, Daemon
from lab.netconf import Client
from lab.network import Namespace, claim_run_folder, connect
from lab.site import Site

ROUTER_ADDRESS = "198.51.100.1"
ROUTER_ADDRESS_V6 = "2001:db8::1"


def pytest_configure():
    claim_run_folder()


@pytest.fixture(scope="session")
def build():
    return os.environ.get("SNMP_APP_BUILD", os.path.join(TREE, "build/release"))


@pytest.fixture
def router():
    namespace = Namespace("router")
    yield namespace
    namespace.remove()


@pytest.fixture
def manager(router):
    namespace = Namespace("manager")
    connect(router, "eth1", namespace, "eth0")
    router.add_address("eth1", f"{ROUTER_ADDRESS}/24")
    router.add_address("eth1", f"{ROUTER_ADDRESS_V6}/64")
    namespace.add_address("eth0", "198.51.100.100/24")
    namespace.add_address("eth0", "2001:db8::100/64")
    yield namespace
    namespace.remove()


@pytest.fixture
def site():
    """A router with a default network and two VRFs, instead of the one above."""
    with Site() as instance:
        yield instance


@pytest.fixture
def daemon(router, build):
    with Daemon(router, build) as instance:
        yield instance


@pytest.fixture
def client(daemon):
    """A NETCONF session with a daemon that runs."""
    with Client(daemon.netconf_socket) as instance:
        yield instance
