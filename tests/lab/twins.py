"""A router with many VRFs that all use the same addresses, a manager in each of them."""

import subprocess

from .daemon import configuration, listening
from .network import Namespace, has_vrf_devices

ROUTER, ROUTER_V6 = "10.10.10.1", "fd00::1"
MANAGER, MANAGER_V6 = "10.10.10.2", "fd00::2"
OWN = "198.51.100.1"


def batch(namespace, lines, *family):
    """Lines of ip(8), without the word ip, in one process."""
    done = subprocess.run(["ip", "-n", namespace.name, *family, "-batch", "-"], text=True,
                          input="\n".join(lines), capture_output=True, check=False)
    if done.returncode != 0:
        raise RuntimeError(done.stderr)


class Twins:
    """Interface e0 is in v0 with table 100, and so on. Use it as a context manager."""

    def __init__(self, count):
        self.numbers = range(count)
        self.with_devices = has_vrf_devices()
        self._namespaces = []
        self.router = self.managers = None

    def __enter__(self):
        try:
            self._make()
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        for namespace in self._namespaces:
            namespace.remove()

    def _add(self, name):
        self._namespaces.append(Namespace(name))
        return self._namespaces[-1]

    def _make(self):
        self.router = self._add("router")
        self.managers = [self._add(f"twin{number}") for number in self.numbers]
        self.router.ip("addr", "add", f"{OWN}/32", "dev", "lo")
        self.router.run("sysctl", "-q", "net.ipv4.conf.all.rp_filter=0",
                        "net.ipv4.conf.default.rp_filter=0")
        batch(self.router, [f"link add e{number} type veth peer name eth0 netns twin{number}"
                            for number in self.numbers])
        self._attach()
        for manager in self.managers:
            batch(manager, ["link set eth0 up", f"addr add {MANAGER}/24 dev eth0",
                            f"addr add {MANAGER_V6}/64 dev eth0 nodad"])

    def _attach(self):
        """Puts each interface into its VRF: a device, or rules and a table."""
        devices, rules = [], []
        for number in self.numbers:
            if self.with_devices:
                devices += [f"link add v{number} type vrf table {100 + number}",
                            f"link set v{number} up", f"link set e{number} master v{number}"]
            devices.append(f"link set e{number} up")
            for address in (f"{ROUTER}/24", f"{ROUTER_V6}/64 nodad"):
                own = "" if self.with_devices else " noprefixroute"
                devices.append(f"addr add {address} dev e{number}{own}")
            rules.append(f"rule add iif e{number} lookup {100 + number} priority 900")
        batch(self.router, devices)
        if self.with_devices:
            return
        for family, network in (("-4", "10.10.10.0/24"), ("-6", "fd00::/64")):
            batch(self.router, rules + [f"route add {network} dev e{number} table {100 + number}"
                                        for number in self.numbers], family)

    def configuration(self):
        """All interfaces are listened on."""
        names = {f"e{number}": number for number in self.numbers}
        return {**configuration(OWN),
                **listening({name: 161 for name in names},
                            {name: f"v{number}" for name, number in names.items()},
                            {f"v{number}": 100 + number for number in self.numbers})}
