#!/usr/bin/env python3
"""What the routing rules of notification targets cost: a packet sent from an unconnected socket,
and whether a rule is missing while the daemon starts again after kill -9.

Runs inside a network and mount namespace of its own: bench/run.
"""

import argparse
import os
import subprocess
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
# pylint: disable=wrong-import-position
from lab.daemon import Daemon, configuration, merged, targets
from lab.network import Namespace, claim_run_folder
from lab.rule_watch import RuleWatch

ADDRESS = "198.51.100.1"
TABLES = {"red": 100}
SECONDS = 300


def address_of(number):
    return f"10.{number // 256}.{number % 256}.1"


def content(count):
    part = targets({f"t{number}": (address_of(number), 162, "red") for number in range(count)},
                   TABLES)
    return merged(configuration(ADDRESS), part)


def send_cost(router, program, *ends):
    output = subprocess.run(router.command(program, *ends), check=True, capture_output=True,
                            text=True).stdout
    return [float(word) for word in output.split()]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("counts", nargs="*", type=int)
    arguments = parser.parse_args()
    program = os.path.join(arguments.build, "bench/send_cost")

    claim_run_folder()
    router = Namespace("router")
    router.add_address("lo", f"{ADDRESS}/32")
    # An interface that nobody reads drops at once: what is left is the system call and the route.
    router.ip("tuntap", "add", "sink", "mode", "tun")
    router.ip("link", "set", "sink", "up")
    for table in ("main", "100"):
        router.ip("route", "add", "default", "dev", "sink", "table", table)
    print("  targets  elsewhere us  same port us  first us  last us  missing ms  rules deleted")
    for count in [0] + (arguments.counts or [16, 1000, 4900]):
        with Daemon(router, arguments.build, level="notice") as daemon:
            daemon.write_startup(content(count))
            daemon.start(wait=False)
            daemon.wait_ready(SECONDS)
            last = address_of(max(count - 1, 0))
            costs = send_cost(router, program, "192.0.2.1:53", "192.0.2.1:162",
                              f"{address_of(0)}:162", f"{last}:162")
            daemon.kill()
            watch = RuleWatch(router)
            daemon.start(wait=False)
            daemon.wait_ready(SECONDS)
            watch.finish()
            assert not watch.missing
            daemon.stop(seconds=SECONDS)
            print("{:9} {:13.2f} {:13.2f} {:9.2f} {:8.2f} {:11.1f} {:14}".format(
                count, *costs, watch.longest * 1000, watch.deletions), flush=True)


if __name__ == "__main__":
    main()
