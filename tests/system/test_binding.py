"""The agent follows its configuration, seen by a manager."""

import signal

from lab import snmp
from lab.daemon import configuration
from lab.wait import wait_until

ADDRESS, ADDRESS_V6, LATE = "198.51.100.1", "2001:db8::1", "198.51.100.9"
REBOUND = "Forced ConfD's bind of SNMP, returned 0: $"


def start(daemon, *arguments, **options):
    daemon.write_startup(configuration(*arguments, **options))
    daemon.start()


def unanswered(manager, address, **options):
    return snmp.get(manager, address, timeout=0.3, **options) is None


def test_answers_on_address_and_extra_entries(daemon, manager):
    start(daemon, ADDRESS, [f"{ADDRESS}:1161", f"{ADDRESS_V6}:161", f"[{ADDRESS_V6}]:1161"])
    assert snmp.get(manager, ADDRESS)
    assert snmp.get(manager, ADDRESS, port=1161)
    assert snmp.get(manager, ADDRESS_V6)
    assert snmp.get(manager, ADDRESS_V6, port=1161)
    assert unanswered(manager, ADDRESS, port=1162)


def test_wildcard_answers_from_the_address_asked(daemon, manager):
    start(daemon, "0.0.0.0")
    assert snmp.get(manager, ADDRESS)


def test_port_change(daemon, manager):
    start(daemon, ADDRESS)
    since = daemon.reload(configuration(ADDRESS, port=1161))
    daemon.wait_record(REBOUND, since)
    assert snmp.get(manager, ADDRESS, port=1161)
    assert unanswered(manager, ADDRESS)


def test_address_change_goes_through_the_retry(daemon, router, manager):
    start(daemon, ADDRESS)
    router.add_address("eth1", f"{LATE}/24")
    since = daemon.reload(configuration(LATE))
    daemon.wait_record("Could not set REUSEADDR to SNMP agent socket: ", since)
    daemon.wait_record("Starting timer for new bind retry.", since)
    assert snmp.get(manager, ADDRESS), "served at the old address until the retry"
    daemon.wait_record(REBOUND, since)
    assert snmp.get(manager, LATE)
    assert unanswered(manager, ADDRESS)


def test_late_address_is_bound_by_one_rebind(daemon, router, manager):
    start(daemon, ADDRESS)
    since = daemon.reload(configuration(ADDRESS, [f"{LATE}:161"]))
    daemon.wait_record(f"Failed to bind to {LATE}:161 : Cannot assign requested address", since)
    assert snmp.get(manager, ADDRESS)
    router.add_address("eth1", f"{LATE}/24")
    daemon.wait_record(REBOUND, since)
    assert snmp.get(manager, LATE)
    assert len(daemon.records("Forced ConfD's bind", since)) == 1


def test_disabled_agent_has_no_listener(daemon, manager):
    start(daemon, ADDRESS)
    assert snmp.get(manager, ADDRESS)
    daemon.reload(configuration(ADDRESS, enabled=False))
    assert unanswered(manager, ADDRESS)
    since = daemon.reload(configuration(ADDRESS))
    daemon.wait_record(REBOUND, since)
    assert snmp.get(manager, ADDRESS)


def test_last_extra_entry_goes(daemon, manager):
    start(daemon, ADDRESS, [f"{ADDRESS}:1161"])
    assert snmp.get(manager, ADDRESS, port=1161)
    since = daemon.reload(configuration(ADDRESS))
    daemon.wait_record(REBOUND, since)
    assert unanswered(manager, ADDRESS, port=1161)
    assert snmp.get(manager, ADDRESS)


def test_communities_follow_the_table(daemon, manager):
    start(daemon, ADDRESS, communities=["public", "ops"])
    assert snmp.get(manager, ADDRESS, community="ops")
    daemon.reload(configuration(ADDRESS, communities=["public"]))
    assert unanswered(manager, ADDRESS, community="ops")
    assert snmp.get(manager, ADDRESS)
    daemon.reload(configuration(ADDRESS, [f"{ADDRESS_V6}:161"], communities=["late"]))
    assert snmp.get(manager, ADDRESS, community="late")
    wait_until(lambda: snmp.get(manager, ADDRESS_V6, community="late"), "an answer over IPv6")


def test_pending_retry_ends_when_the_agent_is_disabled(daemon, manager):
    start(daemon, "198.51.100.77")
    daemon.wait_record("Starting timer for new bind retry.")
    since = daemon.reload(configuration("198.51.100.77", enabled=False))
    # The pending attempt still runs, and asks for no other one.
    daemon.wait_record("Agent is enabled: 0", since)
    daemon.tell(signal.SIGUSR1)
    daemon.wait_record("going Active", since)
    assert not daemon.records("Starting timer for new bind retry.", since)
