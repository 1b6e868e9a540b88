#!/usr/bin/env python3
"""Listening interfaces in VRFs by the thousand: times and memory, on real kernel rules.

Runs inside a network and mount namespace of its own: bench/run.
"""

import argparse
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
# pylint: disable=wrong-import-position
from lab.daemon import Daemon, configuration, listening
from lab.network import Namespace, claim_run_folder

ADDRESS = "198.51.100.1"
TABLES = {f"vrf{number}": 100 + number for number in range(8)}
SECONDS = 300


def content(count, communities=("public",)):
    names = [f"eth{number}" for number in range(count)]
    vrfs = {name: f"vrf{number % len(TABLES)}" for number, name in enumerate(names)}
    return {**configuration(ADDRESS, communities=communities),
            **listening({name: 161 for name in names}, vrfs, TABLES)}


def resident_mib(daemon):
    with open(f"/proc/{daemon.process.pid}/status", encoding="ascii") as status:
        line = next(line for line in status if line.startswith("VmRSS"))
    return int(line.split()[1]) / 1024


def timed(action):
    begin = time.monotonic()
    action()
    return (time.monotonic() - begin) * 1000


def measure(router, build, count, level):
    """One row: milliseconds until the daemon is ready or has dealt with a change."""
    with Daemon(router, build, level=level) as daemon:
        daemon.write_startup(content(count - 1))
        daemon.start(wait=False)
        daemon.wait_ready(SECONDS)
        # With no entry to probe there is nothing to rebind at the first start.
        add_one = timed(lambda: daemon.reload(content(count), SECONDS))
        unrelated = timed(lambda: daemon.reload(content(count, ("public", "ops")), SECONDS))
        memory = resident_mib(daemon)
        daemon.stop(seconds=SECONDS)
        daemon.start(wait=False)
        start = timed(lambda: daemon.wait_ready(SECONDS))
        daemon.stop(seconds=SECONDS)
        return start, add_one, unrelated, memory


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("--level", default="notice", help="log level of the daemon")
    parser.add_argument("counts", nargs="*", type=int, default=[1, 100, 1000, 4900])
    arguments = parser.parse_args()

    claim_run_folder()
    router = Namespace("router")
    router.add_address("lo", f"{ADDRESS}/32")
    print("interfaces   start ms   add one ms   unrelated ms   memory MiB")
    for count in arguments.counts:
        start, add_one, unrelated, memory = measure(router, arguments.build, count,
                                                    arguments.level)
        print(f"{count:10} {start:10.1f} {add_one:12.1f} {unrelated:14.1f} {memory:12.1f}",
              flush=True)


if __name__ == "__main__":
    main()
