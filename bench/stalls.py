#!/usr/bin/env python3
"""How long a NETCONF session on a large configuration waits, and an SNMP request meanwhile.

Runs inside a network and mount namespace of its own: bench/run.
"""

import argparse
import os
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path[:0] = [HERE, os.path.join(HERE, "..", "tests")]
# pylint: disable=wrong-import-position
from lab.daemon import Daemon, configuration, merged
from lab.load import Load
from lab.netconf import BASE, Client
from lab.network import Namespace, claim_run_folder
from scale import ADDRESS, timed, with_interfaces

PORT = ('<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent>'
        "<extraIpPorts>198.51.100.1:{}</extraIpPorts></snmpAgent></confdConfig>")
LISTEN = ('<snmp xmlns="urn:snmp-app:snmp"><agent><listen>{}</listen></agent></snmp>')
ROW = "<interface{}><name>l3-eth{}</name><udp-port>{}</udp-port></interface>"
MESSAGE_LIMIT = 2 << 20


def rows(numbers, port=161, operation=""):
    return LISTEN.format("".join(ROW.format(operation, number, port) for number in numbers))


def operations(count):
    """What a session asks for, each with its name."""
    junk = "<junk/>" * ((MESSAGE_LIMIT - 1000) // len("<junk/>"))
    some = range(min(count, 100))
    return [
        ("nothing", lambda client: None),
        ("get-config, all", lambda client: client.get_config()),
        ("get, all", lambda client: client.get()),
        ("edit one leaf", lambda client: client.edit(PORT.format(1161))),
        ("dry run of all rows", lambda client: client.edit(rows(range(count), 162),
                                                           test_option="test-only")),
        ("change 100 rows", lambda client: client.edit(rows(some, 162))),
        ("change all rows", lambda client: client.edit(rows(range(count), 163))),
        ("candidate: all rows, commit", lambda client: (
            client.edit(rows(range(count), 161), target="candidate"), client.rpc("<commit/>"))),
        ("2 MiB of nonsense", lambda client: client.send(
            f'<rpc xmlns="{BASE}" message-id="0">{junk}</rpc>') or client.receive()),
    ]


def measure(router, daemon, count):
    for name, operation in operations(count):
        with Client(daemon.netconf_socket, seconds=60) as client:
            with Load(router, ADDRESS, rate=500) as load:
                took = timed(lambda: operation(client))
                counts = load.finish()
        print(f"{count:>10} {name:<28} {took:>8.0f} {counts['longest'] * 1000:>10.1f} "
              f"{counts['lost']:>6}", flush=True)


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", required=True, help="folder of the build")
    parser.add_argument("counts", nargs="*", type=int, default=[100, 1000, 4900])
    arguments = parser.parse_args()
    claim_run_folder()
    router = Namespace("router")
    router.add_address("lo", f"{ADDRESS}/32")
    print("How long a reply takes, and the longest that an SNMP request waits meanwhile, at 500 a "
          f"second.\n{'interfaces':>10} {'a session asks for':<28} {'reply ms':>8} "
          f"{'longest ms':>10} {'lost':>6}")
    for count in arguments.counts:
        with Daemon(router, arguments.build, level="notice") as daemon:
            daemon.write_startup(merged(configuration(ADDRESS), with_interfaces(count)))
            daemon.start(wait=False)
            daemon.wait_ready(300)
            measure(router, daemon, count)
    router.remove()


if __name__ == "__main__":
    main()
