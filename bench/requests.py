#!/usr/bin/env python3
"""What a redirect costs a request: red's manager, whose requests are redirected, and the default
network's, whose are not, ask in turn.

Runs inside a network and mount namespace of its own: bench/run.
"""

import argparse
import contextlib
import os
import statistics
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "tests")]
# pylint: disable=wrong-import-position
from lab.daemon import Daemon, configuration, listening
from lab.network import claim_run_folder
from lab.site import DEFAULT, RED, TABLES, Site

REQUESTS, WINDOW, ROUNDS = 20000, 8, 15
PROCESSORS = sorted(os.sched_getaffinity(0))
WAYS = {"direct": ("default", DEFAULT), "redirected": ("red", RED)}


def content(count):
    """So many listening interfaces; eth1, the site's own, is one of them."""
    names = ["eth1", *(f"vlan{number}" for number in range(count - 1))]
    return {**configuration(DEFAULT), **listening({name: 161 for name in names},
                                                  {name: "red" for name in names}, TABLES)}


def tasks(daemon):
    return os.listdir(f"/proc/{daemon.process.pid}/task")


def processor_seconds(daemon):
    """By the scheduler's clock: stat's hundredths of a second are too coarse. Work of
    network interrupts is not in it where the kernel counts that for itself."""
    nanoseconds = 0
    for task in tasks(daemon):
        with open(f"/proc/{daemon.process.pid}/task/{task}/schedstat", encoding="ascii") as file:
            nanoseconds += int(file.read().split()[0])
    return nanoseconds / 1e9


def ahead(processor, task=0):
    """Gives the task a processor, and where that is permitted the time before all other programs.
    On one processor daemon and client displace each other, half again as often one way as the
    other, by what the scheduler makes of their shares."""
    os.sched_setaffinity(task, {processor})
    with contextlib.suppress(PermissionError):
        os.sched_setscheduler(task, os.SCHED_FIFO, os.sched_param(10))


def measure(site, daemon, client, way):
    """Requests a second, p50 and p99 in microseconds, lost ones, microseconds of the daemon's
    processor time a request."""
    manager, address = WAYS[way]
    before = processor_seconds(daemon)
    words = site.managers[manager].run(client, address, "161", str(REQUESTS), str(WINDOW),
                                       preexec_fn=lambda: ahead(PROCESSORS[-1])).split()
    spent = processor_seconds(daemon) - before
    return (*(float(word) for word in words), spent / REQUESTS * 1e6)


def measure_round(number, *subject):
    """Both ways; which comes first changes from round to round."""
    order = sorted(WAYS, reverse=number % 2 == 1)
    return {way: measure(*subject, way) for way in order}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("counts", nargs="*", type=int, default=[1, 4900])
    arguments = parser.parse_args()
    client = os.path.join(arguments.build, "bench", "request_client")
    claim_run_folder()
    print(f"{ROUNDS} rounds of {REQUESTS} requests each way, {WINDOW} at a time; medians\n"
          f"{'interfaces':>10} {'way':<10} {'rate /s':>8} {'p50 us':>7} {'p99 us':>7} {'cpu us':>7} "
          f"{'lost':>5} {'ratio of rates':>15}")
    for count in arguments.counts:
        with Site() as site, Daemon(site.router, arguments.build, level="notice") as daemon:
            daemon.write_startup(content(count))
            daemon.start(wait=False)
            daemon.wait_ready(300)
            for task in tasks(daemon):
                ahead(PROCESSORS[0], int(task))
            rounds = [measure_round(number, site, daemon, client) for number in range(ROUNDS)]
        ratio = statistics.median(each["redirected"][0] / each["direct"][0] for each in rounds)
        for way in WAYS:
            rate, p50, p99, _, processor = (statistics.median(each[way][i] for each in rounds)
                                            for i in range(5))
            lost = sum(each[way][3] for each in rounds)
            print(f"{count:>10} {way:<10} {rate:>8.0f} {p50:>7.1f} {p99:>7.1f} {processor:>7.1f} "
                  f"{lost:>5.0f} {f'{ratio:.3f}' if way == 'redirected' else '':>15}", flush=True)


if __name__ == "__main__":
    main()
