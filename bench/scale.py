#!/usr/bin/env python3
"""Listening interfaces or notification targets in VRFs by the thousand: times and memory, on real
kernel rules.

Runs inside a network and mount namespace of its own: bench/run.
"""

import argparse
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
# pylint: disable=wrong-import-position
from lab.daemon import Daemon, configuration, listening, merged, targets
from lab.network import Namespace, claim_run_folder

ADDRESS = "198.51.100.1"
TABLES = {f"vrf{number}": 100 + number for number in range(8)}
SECONDS = 300


def vrf_of(number):
    return f"vrf{number % len(TABLES)}"


def with_interfaces(count):
    names = [f"eth{number}" for number in range(count)]
    vrfs = {name: vrf_of(number) for number, name in enumerate(names)}
    return listening({name: 161 for name in names}, vrfs, TABLES)


def with_targets(count, port=162):
    """The last one has the port given."""
    rows = {f"target{number}": (f"10.{number // 256}.{number % 256}.1",
                                port if number == count - 1 else 162, vrf_of(number))
            for number in range(count)}
    return targets(rows, TABLES)


# What is scaled: `count` of it, one less, and one of them changed.
SUBJECTS = {
    "interfaces": (with_interfaces, lambda count: with_interfaces(count - 1),
                   [1, 100, 1000, 4900], "add one"),
    "targets": (with_targets, lambda count: with_targets(count, port=1162),
                [1, 100, 1000], "change one"),
}


def content(part, communities=("public",)):
    return merged(configuration(ADDRESS, communities=communities), part)


def resident_mib(daemon):
    with open(f"/proc/{daemon.process.pid}/status", encoding="ascii") as status:
        line = next(line for line in status if line.startswith("VmRSS"))
    return int(line.split()[1]) / 1024


def timed(action):
    begin = time.monotonic()
    action()
    return (time.monotonic() - begin) * 1000


def measure(router, arguments, whole, other):
    """One row: milliseconds until the daemon is ready or has dealt with a change."""
    with Daemon(router, arguments.build, level=arguments.level) as daemon:
        daemon.write_startup(content(other))
        daemon.start(wait=False)
        daemon.wait_ready(SECONDS)
        # With no entry to probe there is nothing to rebind at the first start.
        change = timed(lambda: daemon.reload(content(whole), SECONDS))
        unrelated = timed(lambda: daemon.reload(content(whole, ("public", "ops")), SECONDS))
        memory = resident_mib(daemon)
        daemon.stop(seconds=SECONDS)
        daemon.start(wait=False)
        start = timed(lambda: daemon.wait_ready(SECONDS))
        daemon.stop(seconds=SECONDS)
        return start, change, unrelated, memory


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("--level", default="notice", help="log level of the daemon")
    parser.add_argument("subject", choices=SUBJECTS)
    parser.add_argument("counts", nargs="*", type=int)
    arguments = parser.parse_args()

    claim_run_folder()
    router = Namespace("router")
    router.add_address("lo", f"{ADDRESS}/32")
    whole, other, counts, change_name = SUBJECTS[arguments.subject]
    print(f"{arguments.subject}   start ms   {change_name} ms   unrelated ms   memory MiB")
    for count in arguments.counts or counts:
        start, change, unrelated, memory = measure(router, arguments, whole(count), other(count))
        print(f"{count:10} {start:10.1f} {change:12.1f} {unrelated:14.1f} {memory:12.1f}",
              flush=True)


if __name__ == "__main__":
    main()
