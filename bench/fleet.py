#!/usr/bin/env python3
"""Many daemons on one machine, each with a router of its own: memory of each, and the time that a
change on all of them takes by NETCONF.

Runs inside a network and mount namespace of its own: bench/run.
"""

import argparse
import concurrent.futures
import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests"))
# pylint: disable=wrong-import-position
from lab.fleet import Fleet
from lab.netconf import Client, port_edit
from lab.network import claim_run_folder

AT_A_TIME = 50
CONFIRMED = "<commit><confirmed/><confirm-timeout>120</confirm-timeout></commit>"


def memory_mib(daemon):
    """Resident memory, and what of it is the process's own share."""
    found = {}
    with open(f"/proc/{daemon.process.pid}/smaps_rollup", encoding="ascii") as file:
        for line in file:
            name, _, value = line.partition(":")
            if name in ("Rss", "Pss"):
                found[name] = int(value.split()[0]) / 1024
    return found["Rss"], found["Pss"]


def edit(router, port):
    """One change, and its reply."""
    with Client(router.daemon.netconf_socket, seconds=60) as client:
        client.edit(port_edit(port))


def confirmed_edit(router, port):
    """One change by way of the candidate, which another commit of the session confirms."""
    with Client(router.daemon.netconf_socket, seconds=60) as client:
        client.edit(port_edit(port), target="candidate")
        client.rpc(CONFIRMED)
        client.rpc("<commit/>")


def seconds_on_all(fleet, change, port):
    """How long the change takes on all of them, so many at a time."""
    begin = time.monotonic()
    with concurrent.futures.ThreadPoolExecutor(AT_A_TIME) as pool:
        for done in [pool.submit(change, router, port) for router in fleet.routers]:
            done.result()
    return time.monotonic() - begin


def tell_memory(fleet):
    pairs = [memory_mib(router.daemon) for router in fleet.routers]
    resident, share = ([pair[part] for pair in pairs] for part in (0, 1))
    print(f"{len(pairs):8} daemons: {max(resident):.1f} MiB resident at most, "
          f"{sum(share) / len(share):.1f} MiB each of all they use together", flush=True)


def write_inventory(fleet):
    """Of all routers, as packaging/examples/fleet has it of four; their host keys are known."""
    path = os.path.join(fleet.home, "fleet/inventory.ini")
    with open(path, encoding="ascii") as file:
        lines = [line for line in file.read().splitlines() if not line.startswith("router")]
    at = lines.index("[routers]") + 1
    lines[at:at] = [f"{router.name} ansible_host={router.address} service_address={router.service}"
                    for router in fleet.routers]
    with open(path, "w", encoding="ascii") as file:
        file.write("\n".join(lines) + "\n")
    for router in fleet.routers:
        router.namespace.add_address("lo", f"{router.service}/32")
    fleet.learn_host_keys()


def tell_ansible(fleet):
    """The playbooks of packaging/examples/fleet on all routers."""
    write_inventory(fleet)
    for playbook in ("keep.yml", "change.yml --check --diff", "change.yml"):
        begin = time.monotonic()
        status, said = fleet.run("noc", f"cd fleet && ansible-playbook {playbook}", 1800)
        if status != 0:
            sys.exit(said)
        print(f"{len(fleet.routers):8} routers: ansible-playbook {playbook} in "
              f"{time.monotonic() - begin:.0f} s", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("--ansible", action="store_true", help="measure its playbooks, too")
    parser.add_argument("counts", nargs="*", type=int)
    arguments = parser.parse_args()

    claim_run_folder()
    for count in arguments.counts or [100]:
        begin = time.monotonic()
        with Fleet(arguments.build, count, with_ssh=arguments.ansible) as fleet:
            print(f"{count:8} routers ready after {time.monotonic() - begin:.1f} s", flush=True)
            tell_memory(fleet)
            for what, change in (("an edit", edit), ("a confirmed commit", confirmed_edit)):
                seconds = seconds_on_all(fleet, change, 1161)
                seconds_on_all(fleet, change, 161)
                print(f"{count:8} routers: {what} on all in {seconds:.2f} s", flush=True)
            tell_memory(fleet)
            if arguments.ansible:
                tell_ansible(fleet)


if __name__ == "__main__":
    main()
