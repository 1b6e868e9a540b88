"""Steps of the tour: the agent and its addresses."""

from lab import snmp
from lab.netconf import Client
from lab.site import DEFAULT
from lab.wait import wait_until

MOVED, EXTRA = "198.51.100.5", "198.51.100.9"
COMMUNITY = ("/SNMP-COMMUNITY-MIB/snmpCommunityTable/snmpCommunityEntry -- snmpCommunityIndex=public "
             "snmpCommunityName=public snmpCommunitySecurityName=public")
CONFIRMED_COMMIT = ("<commit><confirmed/><confirm-timeout>3</confirm-timeout>"
                    "<persist>tour</persist></commit>")
REBOUND = "Forced ConfD's bind of SNMP, returned 0"


def start(tour):
    tour.screen.step("The daemon starts", """It finds L3 interfaces and VRFs in its start-up
        configuration. The SNMP agent is disabled: watch the manager get no answer.""")
    tour.daemon.start()
    tour.screen.expect("no answer yet", lambda: snmp.get(tour.manager, DEFAULT, timeout=0.5) is None)


def enable(tour):
    tour.screen.step("The agent is enabled", """By NETCONF, in yangcli over SSH: edits go to the
        candidate, and are in force, or refused, as one transaction at the commit.""")
    since = tour.edit(f"create {COMMUNITY}", "replace /confdConfig/snmpAgent/enabled value=true")
    tour.screen.expect("the agent is bound", tour.record(REBOUND, since))
    tour.screen.expect(f"snmpget {DEFAULT}", lambda: snmp.get(tour.manager, DEFAULT))
    tour.screen.expect("a wrong community gets no answer", lambda: snmp.get(
        tour.manager, DEFAULT, community="guess", timeout=0.5) is None)


def move(tour):
    tour.screen.step(f"The agent's address moves to {MOVED}", """A moved address is given to the
        retry, which binds it 5 seconds later. Watch for "Forced ConfD's bind".""")
    tour.site.router.add_address("eth0", f"{MOVED}/24")
    since = tour.edit(f"replace /confdConfig/snmpAgent/ip value={MOVED}")
    tour.screen.expect("rebound by the retry", tour.record(REBOUND, since))
    tour.screen.expect(f"snmpget {MOVED}", lambda: snmp.get(tour.manager, MOVED))
    tour.screen.expect(f"no answer at {DEFAULT} any more",
                       lambda: snmp.get(tour.manager, DEFAULT, timeout=0.5) is None)


def late_address(tour):
    tour.screen.step("An extra entry comes before its address exists", """The daemon probes it every
        5 seconds; the agent is not rebound meanwhile.""")
    since = tour.edit(f"create /confdConfig/snmpAgent/extraIpPorts value={EXTRA}:161")
    tour.screen.expect("two probes failed", tour.record(
        f"Failed to bind to {EXTRA}:161 : Cannot assign requested address", since, seconds=12,
        count=2))
    tour.screen.expect(f"snmpget {MOVED} is served all the time",
                       lambda: snmp.get(tour.manager, MOVED))
    tour.screen.typed("router#", f"ip address add {EXTRA}/24 dev eth0")
    tour.site.router.add_address("eth0", f"{EXTRA}/24")
    tour.screen.expect("rebound by the next retry", tour.record(REBOUND, since))
    tour.screen.expect("exactly one rebind",
                       lambda: len(tour.daemon.records("Forced ConfD's bind", since)) == 1)
    for address in (EXTRA, MOVED):
        tour.screen.expect(f"snmpget {address}",
                           lambda address=address: snmp.get(tour.manager, address))


def refusal(tour):
    tour.screen.step("An edit with a mistake is refused, with path and reason", """No L3 interface is
        called eth9, so l3-eth9 cannot be listened on.""")
    replies = tour.type("create /snmp/agent/listen/interface[name='l3-eth9']/udp-port value=161",
                        "commit")
    tour.screen.expect("the path is told", lambda: "[snmp:name='l3-eth9']" in replies)
    tour.screen.expect("... and the reason", lambda: "no L3 interface has the rest of it" in replies)
    tour.type("discard-changes")
    tour.screen.expect(f"snmpget {MOVED}: what was in force still is",
                       lambda: snmp.get(tour.manager, MOVED))


def undone(tour):
    tour.screen.step("A change that undoes itself", """A confirmed commit is in force at once, and taken
        back unless it is confirmed in time. Each commit leaves a record: who, when, what.""")
    since = tour.daemon.mark()
    tour.type("replace /confdConfig/snmpAgent/port value=1161")
    with Client(tour.daemon.netconf_socket) as client:  # yangcli's commit has no words for it.
        tour.screen.typed("netconf>", CONFIRMED_COMMIT)
        tour.screen.expect("accepted", lambda: client.rpc(CONFIRMED_COMMIT) is not None)
    tour.screen.expect(f"snmpget {MOVED} at port 1161",
                       lambda: snmp.get(tour.manager, MOVED, port=1161))
    tour.screen.expect("nobody confirms it: taken back", tour.record(
        "taking back a commit: not confirmed in time", since))
    tour.screen.expect(f"snmpget {MOVED} at port 161", lambda: wait_until(
        lambda: snmp.get(tour.manager, MOVED), "an answer at the old port"))
    records = [line.partition("] ")[2] for line in tour.daemon.records("Commit by", since)]
    tour.screen.typed("router#", "journalctl -u snmp-app -g 'Commit by'", "\n".join(records))
    tour.screen.expect("who changed what is told", lambda: len(records) == 2 and all(
        record.endswith(" ms: set /confdConfig/snmpAgent/port") for record in records))
