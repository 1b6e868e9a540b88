#!/usr/bin/env python3
"""Shows the daemon at work: a router with the daemon, managers that ask it, and an operator.

Runs inside a network and mount namespace of its own; ./run takes care of that.
"""

import argparse
import contextlib
import os
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "tests")]
# pylint: disable=wrong-import-position
import agent_steps
import trust_steps
import vrf_steps
from lab import ssh
from lab.daemon import TREE, Daemon, configuration, listening, merged
from lab.network import claim_run_folder
from lab.site import BLUE, DEFAULT, RED, TABLES, Site
from lab.yangcli import Operator
from screen import Screen

VRFS = {"eth1": "red", "eth2": "blue"}
# What the router has before an operator comes.
STARTUP = merged(configuration(DEFAULT, enabled=False, communities=()),
                 listening({}, VRFS, TABLES))
STEPS = (agent_steps.start, agent_steps.enable, agent_steps.move, agent_steps.late_address,
         agent_steps.refusal, agent_steps.undone, vrf_steps.listening, vrf_steps.three_networks,
         vrf_steps.removal, vrf_steps.target, trust_steps.repair, trust_steps.state,
         trust_steps.sudden_end)


class Tour:
    """What the steps work with. `show` is the command that prints the daemon's state."""

    def __init__(self, site, daemon, operator, show, waits=False):
        self.site, self.daemon, self.operator, self.show = site, daemon, operator, show
        self.screen = Screen(daemon, waits)
        self.manager = site.managers["default"]
        self.far = site.add_far_network()

    def type(self, *commands):
        """The operator types these in yangcli; the replies, as one text."""
        replies = []
        for command in commands:
            replies.append(self.operator.run(command))
            self.screen.typed("yangcli>", command, replies[-1])
        return "\n".join(replies)

    def edit(self, *commands):
        """One transaction: these edits and the commit. Returns where its records begin."""
        since = self.daemon.mark()
        replies = self.type(*commands, "commit")
        self.screen.expect("accepted",
                           lambda: replies.splitlines() == ["ok"] * (len(commands) + 1))
        return since

    def record(self, pattern, since, **options):
        """The check that the daemon has written such a record."""
        return lambda: bool(self.daemon.wait_record(pattern, since, **options))

    def show_state(self):
        """The daemon's state as an operator sees it."""
        done = subprocess.run(self.show, capture_output=True, text=True, check=False)
        self.screen.typed("router#", "snmp-app-show", done.stdout + done.stderr)
        return done.stdout

    def run(self):
        """All steps, to the end of the daemon. True when each was seen to work."""
        for step in STEPS:
            step(self)
        return not self.screen.missed

    def end(self):
        self.screen.heading("The daemon ends on SIGTERM")
        self.screen.expect("exit status 0", lambda: self.daemon.stop(signal.SIGTERM) == 0)


@contextlib.contextmanager
def progress(what):
    print(f"  {what} ...", end="", flush=True)
    yield
    print(" done", flush=True)


def keep_running(tour):
    print(f"\n{tour.screen.summary()}")
    tour.screen.heading("The demo keeps running. Ctrl-C ends it.")
    sudo = "sudo " if "SUDO_USER" in os.environ else ""
    user = "--user --preserve-credentials " if ssh.real_user() else ""
    yangcli = " ".join([*ssh.as_real_user(), *tour.operator.command()])
    print(f"""
  By hand, from another terminal:
    at() {{ {sudo}nsenter {user}--net --mount --target {os.getpid()} nsenter --net=/run/netns/"$@"; }}
    at router {yangcli}
    at router {" ".join(tour.show)}
    at router nft list ruleset
    at router ip rule
    at manager-default snmpwalk -v2c -c public {agent_steps.MOVED} 1.3.6.1.2.1.1
    at manager-blue snmpwalk -v2c -c public {BLUE} 1.3.6.1.2.1.1
    {sudo}kill -USR1 {tour.daemon.process.pid}      (the node becomes active)
  In yangcli, for example:
    create /snmp/agent/listen/interface[name='l3-eth1']/udp-port value=161
    commit
    sget /snmp-state
""", flush=True)
    try:
        while tour.daemon.process.poll() is None:
            tour.screen.log()
            time.sleep(0.2)
    except KeyboardInterrupt:
        print()


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("--once", action="store_true", help="end after the show")
    parser.add_argument("--fast", action="store_true", help="do not wait between two steps")
    arguments = parser.parse_args()

    Screen.heading("Setting up")
    claim_run_folder()
    with contextlib.ExitStack() as stack:
        with progress("a router, and a manager in each of its networks"):
            site = stack.enter_context(Site())
        daemon = stack.enter_context(Daemon(site.router, arguments.build, level="progress"))
        with progress("an SSH server on the router's loopback, for NETCONF"):
            server = stack.enter_context(ssh.Server(site.router, daemon.netconf_socket))
        print(f"  default network: eth0, {DEFAULT}   VRF red: eth1, {RED}   VRF blue: eth2, {BLUE}")
        print("  VRFs are made of " + ("VRF devices" if site.with_devices else
                                       "routing tables: this kernel has no VRF devices"))
        daemon.write_startup(STARTUP)
        tour = Tour(site, daemon, Operator(site.router, server),
                    ["env", f"SNMP_APP_MODELS={TREE}/yang",
                     os.path.abspath(os.path.join(arguments.build, "client/snmp-app-show")),
                     "--socket", daemon.netconf_socket],
                    waits=sys.stdin.isatty() and sys.stdout.isatty()
                    and not (arguments.once or arguments.fast))
        tour.run()
        if not arguments.once:
            keep_running(tour)
        tour.end()
    print(f"\n{tour.screen.summary()}")
    return 1 if tour.screen.missed else 0


if __name__ == "__main__":
    sys.exit(main())
