"""The files for a fleet of routers, with Ansible as it is: docs/fleet.md is true, and what the
change leaves behind where something fails."""

import os
import subprocess

import pytest

from lab.daemon import TREE
from lab.document import commands
from lab.wait import wait_until

PAGE = os.path.join(TREE, "docs/fleet.md")
CHANGE = "cd fleet && ansible-playbook change.yml"
REFUSED = """<nc:config xmlns:nc="urn:ietf:params:xml:ns:netconf:base:1.0">
  <config xmlns="urn:snmp-app:config"><interface>
    <l3><name>eth0</name><vrf>green</vrf></l3></interface></config>
</nc:config>
"""


def stored(router):
    """The router's stored configuration."""
    with open(router.daemon.running_file, encoding="utf-8") as file:
        return file.read()


def changed(fleet):
    """The routers that have the change."""
    return [router for router in fleet.routers if router.service in stored(router)]


@pytest.fixture
def known(fleet):
    """A fleet whose routers' host keys the manager knows."""
    fleet.learn_host_keys()
    return fleet


def test_commands_do_what_the_page_says(fleet):
    found = commands(PAGE)
    assert len(found) > 8
    for command in found:
        command.check(fleet.run)


def test_a_change_that_one_router_refuses_is_made_nowhere(known):
    with open(os.path.join(known.home, "fleet/refused.xml.j2"), "w", encoding="ascii") as file:
        file.write(REFUSED)
    status, said = known.run("noc", f"{CHANGE} -e change_file=refused.xml.j2")
    assert status == 2
    assert "Invalid leafref value" in said and "green" in said
    for router in known.routers:
        assert not router.daemon.records("Commit by .*ok")
        assert "green" not in stored(router)


def test_routers_take_it_back_when_their_manager_dies(known):
    """Ansible is killed while it waits for the third, which does not have its address."""
    third = known.routers[2]
    third.namespace.remove_address("lo", f"{third.service}/32")

    def is_everywhere():
        assert ansible.poll() is None, "it has ended before"
        return len(changed(known)) == 4

    with subprocess.Popen(known.command("noc", CHANGE), env=known.environment(), cwd=known.home,
                          stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL) as ansible:
        try:
            wait_until(is_everywhere, "the change on every router", 300)
        finally:
            ansible.kill()
    wait_until(lambda: changed(known) == [], "the change taken back")
