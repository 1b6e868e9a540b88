"""The demo site: a router with a default network and two VRFs, a manager in each of them."""

import json

from .network import Namespace, Vrf, connect, has_vrf_devices

DEFAULT, RED, BLUE = "198.51.100.1", "203.0.113.1", "192.0.2.1"
RED_V6, BLUE_V6 = "2001:db8:1::1", "2001:db8:2::1"
TABLES = {"red": 100, "blue": 200}
FAR = "10.9.9.9"


class Site:
    """eth0 is in the default network, eth1 in red, eth2 in blue. Use it as a context manager.
    `prefix` begins the names of its namespaces, where there are several sites."""

    def __init__(self, prefix=""):
        self.prefix = prefix
        self.with_devices = has_vrf_devices()
        self.router = Namespace(f"{prefix}router")
        self.managers = {}
        self.vrfs = {name: Vrf(self.router, name, table, self.with_devices)
                     for name, table in TABLES.items()}
        self._add_manager("default", "eth0", ["198.51.100.100/24"])
        self._add_manager("red", "eth1", ["203.0.113.100/24", "2001:db8:1::100/64"])
        self._add_manager("blue", "eth2", ["192.0.2.100/24", "2001:db8:2::100/64"])
        self.router.add_address("eth0", f"{DEFAULT}/24")
        self.vrfs["red"].attach("eth1", f"{RED}/24", f"{RED_V6}/64")
        self.vrfs["blue"].attach("eth2", f"{BLUE}/24", f"{BLUE_V6}/64")

    def _add_manager(self, name, interface, addresses):
        manager = Namespace(f"{self.prefix}manager-{name}")
        connect(self.router, interface, manager, "eth0")
        for address in addresses:
            manager.add_address("eth0", address)
        self.managers[name] = manager

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for namespace in [self.router, *self.managers.values()]:
            namespace.remove()

    def redirects(self):
        """The kernel's redirects, as "interface . port : redirect port"."""
        try:
            listing = self.router.run("nft", "-j", "list", "map", "inet", "snmp-app", "to")
        except RuntimeError as error:
            if "No such file or directory" not in str(error):
                raise
            return []
        parts = json.loads(listing)["nftables"]
        elements = next(part["map"] for part in parts if "map" in part).get("elem", [])
        return sorted(f"{key['concat'][0]} . {key['concat'][1]} : {port}"
                      for key, port in elements)

    def add_far_network(self):
        """Puts one and the same address behind the managers of default and red: the router's main
        table leads to default's, the table of red to red's. Returns the address."""
        for name in ("default", "red"):
            self.managers[name].ip("addr", "add", f"{FAR}/32", "dev", "lo")
        self.router.ip("route", "add", "default", "via", "198.51.100.100")
        self.vrfs["red"].add_route("default", "203.0.113.100")
        return FAR

    def destination_rules(self):
        """The kernel's routing rules that go by destination and port, with their priority."""
        return sorted(" ".join(line.replace(":", "", 1).split())
                      for line in self.router.ip("-4", "rule", "list").splitlines()
                      if "dport" in line)

    def mark_rules(self, family="-4"):
        """The kernel's routing rules that go by a mark."""
        listing = self.router.ip(family, "rule", "list")
        return [line.split(":", 1)[1].strip() for line in listing.splitlines()
                if "fwmark" in line]
