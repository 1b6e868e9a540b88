#!/usr/bin/env python3
"""Shows the daemon at work: a router with the daemon, and managers that ask it.

Runs inside a network and mount namespace of its own; ./run takes care of that.
"""

import argparse
import contextlib
import os
import re
import signal
import subprocess
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
# pylint: disable=wrong-import-position
from lab import snmp, traps
from lab.daemon import TREE, Daemon, configuration, listening, merged, targets
from lab.network import claim_run_folder
from lab.site import BLUE, DEFAULT, RED, RED_V6, TABLES, Site
from lab.wait import wait_until

ROUTER, MOVED, EXTRA = DEFAULT, "198.51.100.5", "198.51.100.9"
VRFS = {"eth1": "red", "eth2": "blue"}
RECORD = re.compile(r"\S+T(?P<time>[\d:]+)\.\d+ (?P<level>\w+) +(?P<category>\S+) "
                    r"\[[^]]*\] (?P<text>.*)")
SHOWN = ("snmp-app", "snmp-app-agent", "snmp-app-listen", "fault")
BOLD, DIM, GOOD, ALERT, PLAIN = (
    ("\033[1m", "\033[2m", "\033[32m", "\033[31m", "\033[0m") if sys.stdout.isatty()
    else ("",) * 5)


def text_of(line):
    """What a record says, without its place."""
    return RECORD.match(line)["text"]


class Show:
    """Prints the steps and keeps count of what was seen."""

    def __init__(self, daemon):
        self.daemon = daemon
        self.seen = 0
        self.missed = []
        self._shown = 0

    def step(self, text):
        print(f"\n{BOLD}{text}{PLAIN}", flush=True)

    def log(self):
        """The daemon's records since the last call, shortened to what they say."""
        for line in self.daemon.lines[self._shown:]:
            record = RECORD.match(line)
            if record is None:
                print(f"  {ALERT}{line}{PLAIN}", flush=True)
            elif record["level"] != "detail" and record["category"] in SHOWN:
                print(f"  {DIM}{record['time']}  {record['category']:15} {record['text']}{PLAIN}",
                      flush=True)
        self._shown = len(self.daemon.lines)

    def expect(self, what, check):
        """check() is the proof: True, or what it saw, which is shown; anything else is a miss."""
        self.log()
        try:
            proof = check()
        except AssertionError as error:
            proof = None
            print(f"  {error}")
        self.log()
        if proof:
            self.seen += 1
            said = "" if proof is True else f": {proof}"
            print(f"  {GOOD}ok{PLAIN}    {what}{said}", flush=True)
        else:
            self.missed.append(what)
            print(f"  {ALERT}MISSED{PLAIN} {what}", flush=True)


def show_start(show, manager):
    show.step(f"1. The daemon starts: agent enabled at {ROUTER}, port 161")
    print("   The address is probed, then the agent is bound to it.")
    show.daemon.start()
    show.expect(f"snmpget {ROUTER}", lambda: snmp.get(manager, ROUTER))
    show.expect("a wrong community gets no answer",
                lambda: snmp.get(manager, ROUTER, community="guess", timeout=0.5) is None)


def show_move(show, router, manager):
    show.step(f"2. The agent's address moves to {MOVED}")
    print("   A moved address is first given to the retry, which binds it 5 seconds later.")
    router.add_address("eth0", f"{MOVED}/24")
    since = show.daemon.reload(configuration(MOVED))
    show.expect("rebound after the retry", lambda: text_of(show.daemon.wait_record(
        "Forced ConfD's bind of SNMP, returned 0", since)))
    show.expect(f"snmpget {MOVED}", lambda: snmp.get(manager, MOVED))
    show.expect(f"no answer at {ROUTER} any more",
                lambda: snmp.get(manager, ROUTER, timeout=0.5) is None)


def show_late_address(show, router, manager):
    show.step(f"3. An extra entry {EXTRA}:161 comes before its address exists")
    print("   The daemon tries every 5 seconds; the agent is not rebound meanwhile.")
    since = show.daemon.reload(configuration(MOVED, [f"{EXTRA}:161"]))
    failed = f"Failed to bind to {EXTRA}:161 : Cannot assign requested address"
    show.expect("two probes failed", lambda: bool(show.daemon.wait_record(
        failed, since, seconds=12, count=2)))
    show.expect(f"snmpget {MOVED} is served all the time", lambda: snmp.get(manager, MOVED))
    router.add_address("eth0", f"{EXTRA}/24")
    print(f"   ... now the router gets the address {EXTRA}")
    show.expect("rebound by the next retry", lambda: bool(show.daemon.wait_record(
        "Forced ConfD's bind of SNMP, returned 0", since)))
    show.expect("exactly one rebind", lambda: len(show.daemon.records(
        "Forced ConfD's bind", since)) == 1)
    show.expect(f"snmpget {EXTRA}", lambda: snmp.get(manager, EXTRA))
    show.expect(f"snmpget {MOVED}", lambda: snmp.get(manager, MOVED))


def show_refusal(show, manager):
    show.step("4. A start-up file with a mistake is refused as a whole")
    since = show.daemon.reload(configuration("198.51.100.256"))
    show.expect("refused with path and reason", lambda: bool(show.daemon.wait_record(
        r" fault .*startup\.json.*198.51.100.256.*snmpAgent/ip", since)))
    show.expect(f"snmpget {MOVED}: the configuration before stays in force",
                lambda: snmp.get(manager, MOVED))


def with_listening(ports):
    """The configuration of step 3, and what listens in the VRFs."""
    return {**configuration(MOVED, [f"{EXTRA}:161"]), **listening(ports, VRFS, TABLES)}


def show_listening(show, site):
    show.step("5. One transaction adds the listening interface l3-eth1, UDP port 161, in VRF red")
    show.daemon.reload(with_listening({}))
    show.expect(f"no answer at {RED} in VRF red yet",
                lambda: not snmp.answers(site.managers["red"], RED, timeout=0.5))
    since = show.daemon.reload(with_listening({"eth1": 161}))

    def record(pattern):
        return lambda: text_of(show.daemon.wait_record(pattern, since))

    show.expect("in the transaction", record("New extraIpPorts entry: 0.0.0.0:60600"))
    show.expect("in the transaction", record("Added redirected port 60600 to interface l3-eth1"))
    show.expect("after the commit", record("Adding interface l3-eth1 to stash"))
    show.expect("in the kernel (interface . port : redirected to)",
                lambda: ", ".join(site.redirects()))
    show.expect("the agent listens there", record("Forced ConfD's bind of SNMP, returned 0"))
    show.expect("the way back, by the mark of the agent's socket",
                lambda: ", ".join(site.mark_rules()))
    for address in (RED, RED_V6):
        show.expect(f"red asks {address} port 161, and gets its answer from there",
                    lambda address=address: snmp.answers(site.managers["red"], address))


def show_three_networks(show, site):
    show.step("6. A second VRF joins: three networks are served at once")
    show.daemon.reload(with_listening({"eth1": 161, "eth2": 161}))
    for network, address in (("default", MOVED), ("red", RED), ("blue", BLUE)):
        show.expect(f"{network} asks {address}",
                    lambda network=network, address=address:
                    snmp.answers(site.managers[network], address))
    show.expect("redirects", lambda: ", ".join(site.redirects()))


def show_removal(show, site):
    show.step("7. l3-eth1 leaves the list: its entry, its redirect and its answers go")
    show.daemon.reload(with_listening({"eth2": 161}))
    show.expect("redirects", lambda: ", ".join(site.redirects()))
    show.expect(f"no answer at {RED} any more",
                lambda: not snmp.answers(site.managers["red"], RED, timeout=0.5))
    show.expect(f"blue is served at {BLUE}", lambda: snmp.answers(site.managers["blue"], BLUE))


def show_target(show, site):
    show.step("8. A trap target that two networks lead to gets a VRF")
    far = site.add_far_network()
    print(f"   {far} is behind the managers of the default network and of VRF red; traps are sent "
          "by\n   snmptrap on the router and received by snmptrapd.")
    with contextlib.ExitStack() as stack:
        receivers = {name: stack.enter_context(traps.Receiver(site.managers[name], far))
                     for name in ("default", "red")}

        def arrives_at(network):
            arrived = traps.arrival(site.router, far, receivers)
            sender = re.search(r"\[([^]]*)\]", receivers[arrived].traps()[-1])[1]
            return arrived == network and f"received there, sent from {sender}"

        def configure(vrf):
            show.daemon.reload(merged(with_listening({"eth2": 161}),
                                      targets({"noc": (far, 162, vrf)}, TABLES)))

        configure(None)
        show.expect("in no VRF: the trap takes the default route", lambda: arrives_at("default"))
        configure("red")
        show.expect("in the kernel, before the main table",
                    lambda: ", ".join(site.destination_rules()))
        show.expect("in VRF red: the trap leaves by red", lambda: arrives_at("red"))
        configure(None)
        show.expect("out of the VRF again: no rule", lambda: site.destination_rules() == [])
        show.expect("... and the default route", lambda: arrives_at("default"))


def show_state(show, build):
    show.step("9. What an operator sees: snmp-app-show")
    done = subprocess.run(
        [os.path.join(build, "client/snmp-app-show"), "--socket", show.daemon.netconf_socket],
        capture_output=True, text=True, check=False,
        env={**os.environ, "SNMP_APP_MODELS": os.path.join(TREE, "yang")})
    print("".join(f"   {line}\n" for line in (done.stdout + done.stderr).splitlines()))
    show.expect("the agent's listeners, the redirect of l3-eth2 and the target are told",
                lambda: all(text in done.stdout for text in (f"{MOVED}:161", "l3-eth2", "noc")))


def keep_running(show):
    show.step("The demo keeps running. Ctrl-C ends it.")
    inside = f"sudo nsenter --net --mount --target {os.getpid()} nsenter --net=/run/netns"
    print(f"""
  By hand, from another terminal:
    {inside}/manager-default snmpwalk -v2c -c public {MOVED} 1.3.6.1.2.1.1
    {inside}/manager-blue snmpwalk -v2c -c public {BLUE} 1.3.6.1.2.1.1
    {inside}/router nft list ruleset
    {inside}/router ip rule
    $EDITOR {show.daemon.startup_file}; sudo kill -HUP {show.daemon.process.pid}
    sudo kill -USR1 {show.daemon.process.pid}      (the node becomes active)
""")
    try:
        while show.daemon.process.poll() is None:
            show.log()
            time.sleep(0.2)
    except KeyboardInterrupt:
        print()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("--once", action="store_true", help="end after the show")
    arguments = parser.parse_args()

    claim_run_folder()
    with Site() as site, Daemon(site.router, arguments.build) as daemon:
        print(f"{BOLD}A router, and a manager in each of its networks: default (eth0, {ROUTER}), "
              f"VRF red (eth1, {RED}) and VRF blue (eth2, {BLUE}).{PLAIN}")
        print("VRFs are made of " + ("VRF devices." if site.with_devices else
                                     "routing tables: this kernel has no VRF devices."))
        daemon.write_startup(configuration(ROUTER))
        show = Show(daemon)
        manager = site.managers["default"]
        show_start(show, manager)
        show_move(show, site.router, manager)
        show_late_address(show, site.router, manager)
        show_refusal(show, manager)
        show_listening(show, site)
        show_three_networks(show, site)
        show_removal(show, site)
        show_target(show, site)
        show_state(show, arguments.build)
        if not arguments.once:
            keep_running(show)
        show.step("The daemon ends on SIGTERM")
        show.expect("exit status 0", lambda: daemon.process.poll() == 0 or daemon.stop(
            signal.SIGTERM) == 0)
    print(f"\n{show.seen} steps seen to work, {len(show.missed)} missed"
          + "".join(f"\n  missed: {what}" for what in show.missed))
    return 1 if show.missed else 0


if __name__ == "__main__":
    sys.exit(main())
