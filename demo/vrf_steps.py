"""Steps of the tour: listening interfaces and notification targets in VRFs."""

import contextlib
import re

from agent_steps import MOVED, REBOUND
from lab import snmp, traps
from lab.daemon import transport_address
from lab.site import BLUE, RED, RED_V6

LISTEN = "/snmp/agent/listen/interface[name='l3-{}']"
MIB = "/SNMP-TARGET-MIB/snmpTarget"


def listening(tour):
    tour.screen.step("l3-eth1 is listened on, in VRF red", """Inside the transaction the daemon adds
        the extra entry and the redirect port; after the commit the redirect is in the kernel. Watch
        the port that it gets, 60600, come up in both, and red get answers.""")
    red = tour.site.managers["red"]
    tour.screen.expect(f"no answer at {RED} in VRF red yet",
                       lambda: not snmp.answers(red, RED, timeout=0.5))
    since = tour.edit(f"create {LISTEN.format('eth1')}/udp-port value=161")
    added = (tour.type("xget-config source=running select=/confdConfig/snmpAgent/extraIpPorts")
             + tour.type("sget-config source=running /snmp/agent/listen"))
    tour.screen.expect("the transaction's own entries", lambda: "0.0.0.0:60600" in added
                       and "redir-port 60600" in added)
    tour.screen.expect("in the kernel (interface . port : redirected to)",
                       lambda: ", ".join(tour.site.redirects()))
    tour.screen.expect("the way back, by the mark of the agent's socket",
                       lambda: ", ".join(tour.site.mark_rules()))
    tour.screen.expect("the agent listens there", tour.record(REBOUND, since))
    for address in (RED, RED_V6):
        tour.screen.expect(f"red asks {address} port 161, and gets its answer from there",
                           lambda address=address: snmp.answers(red, address))


def three_networks(tour):
    tour.screen.step("l3-eth2 joins, in VRF blue: three networks are served at once", """Watch each
        manager get its answer from the address that it asked, in its own network.""")
    tour.edit(f"create {LISTEN.format('eth2')}/udp-port value=161")
    for network, address in (("default", MOVED), ("red", RED), ("blue", BLUE)):
        tour.screen.expect(f"{network} asks {address}", lambda network=network, address=address:
                           snmp.answers(tour.site.managers[network], address))
    tour.screen.expect("redirects", lambda: ", ".join(tour.site.redirects()))


def removal(tour):
    tour.screen.step("l3-eth1 leaves the list: its entry, its redirect and its answers go", """Watch
        red fall silent while blue, whose redirect stays, is answered as before.""")
    tour.edit(f"delete {LISTEN.format('eth1')}")
    tour.screen.expect("redirects", lambda: ", ".join(tour.site.redirects()))
    tour.screen.expect(f"no answer at {RED} any more", lambda: not snmp.answers(
        tour.site.managers["red"], RED, timeout=0.5))
    tour.screen.expect(f"blue is served at {BLUE}",
                       lambda: snmp.answers(tour.site.managers["blue"], BLUE))


def target_rows(far):
    """The edits that make a target, with its rows in the MIB."""
    return (f"create {MIB}ParamsTable/snmpTargetParamsEntry -- snmpTargetParamsName=v2c "
            "snmpTargetParamsMPModel=1 snmpTargetParamsSecurityName=public",
            f"create {MIB}AddrTable/snmpTargetAddrEntry -- snmpTargetAddrName=noc "
            f"snmpTargetAddrTAddress={transport_address(far, 162)} snmpTargetAddrParams=v2c",
            f"create /snmp/target -- name=noc ip={far} udp-port=162")


def target(tour):
    tour.screen.step("A trap target that two networks lead to gets a VRF", f"""{tour.far} is behind
        the managers of the default network and of VRF red. Traps are sent by snmptrap on the router.
        """)
    with contextlib.ExitStack() as stack:
        receivers = {name: stack.enter_context(traps.Receiver(tour.site.managers[name], tour.far))
                     for name in ("default", "red")}

        def arrives_at(network):
            arrived = traps.arrival(tour.site.router, tour.far, receivers)
            sender = re.search(r"\[([^]]*)\]", receivers[arrived].traps()[-1])[1]
            return arrived == network and f"received there, sent from {sender}"

        tour.edit(*target_rows(tour.far))
        tour.screen.expect("in no VRF: the trap takes the default route",
                           lambda: arrives_at("default"))
        tour.edit("create /snmp/target[name='noc']/vrf value=red")
        tour.screen.expect("in the kernel, before the main table",
                           lambda: ", ".join(tour.site.destination_rules()))
        tour.screen.expect("in VRF red: the trap leaves by red", lambda: arrives_at("red"))
