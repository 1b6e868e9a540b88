"""Network namespaces and the links between them."""

import ipaddress
import os
import subprocess


def run(*command, **options):
    """Runs a command to its end; its output is in the error when it fails."""
    done = subprocess.run(command, capture_output=True, text=True, check=False, **options)
    if done.returncode != 0:
        raise RuntimeError(f"{' '.join(command)}: {done.stderr.strip() or done.stdout.strip()}")
    return done.stdout


def claim_run_folder():
    """Puts an empty /run in front of the machine's, in this process's own mount namespace, so
    that namespaces can be named without leaving a trace. OUTSIDE names the machine's namespaces:
    nothing is done inside of them."""
    outside = os.environ.get("OUTSIDE", "").split("+")
    inside = [os.readlink(f"/proc/self/ns/{kind}") for kind in ("net", "mnt")]
    if len(outside) != 2 or any(name in outside for name in inside):
        raise RuntimeError("start this in namespaces of its own, as ./run and ./test do")
    run("mount", "-t", "tmpfs", "tmpfs", "/run")
    os.mkdir("/run/netns")


class Namespace:
    """One host of the demo network."""

    def __init__(self, name):
        self.name = name
        run("ip", "netns", "add", name)
        self.ip("link", "set", "lo", "up")

    def remove(self):
        run("ip", "netns", "del", self.name)

    def command(self, *words):
        """The words that run a command inside."""
        return ["nsenter", f"--net=/run/netns/{self.name}", *words]

    def run(self, *words, **options):
        return run(*self.command(*words), **options)

    def ip(self, *words):
        return run("ip", "-n", self.name, *words)

    def add_address(self, interface, address):
        # nodad: an IPv6 address can be bound at once.
        nodad = ["nodad"] if ":" in address else []
        self.ip("addr", "add", address, "dev", interface, *nodad)

    def remove_address(self, interface, address):
        self.ip("addr", "del", address, "dev", interface)


class Wrapped:
    """A namespace whose programs are started by another program: `words` come before theirs."""

    def __init__(self, namespace, *words):
        self.namespace = namespace
        self.words = words

    def command(self, *words):
        return self.namespace.command(*self.words, *words)


def connect(left, left_interface, right, right_interface):
    """A cable between two namespaces."""
    left.ip("link", "add", left_interface, "type", "veth", "peer", "name", right_interface,
            "netns", right.name)
    left.ip("link", "set", left_interface, "up")
    right.ip("link", "set", right_interface, "up")


def has_vrf_devices():
    """Whether this kernel knows VRF devices; asked in a namespace of its own."""
    probe = Namespace("vrf-probe")
    try:
        probe.ip("link", "add", "probe", "type", "vrf", "table", "99")
        return True
    except RuntimeError:
        return False
    finally:
        probe.remove()


class Vrf:
    """A routing domain of a namespace: a VRF device where the kernel has them, else a routing
    table with rules that send to it what comes in by its interfaces."""

    def __init__(self, namespace, name, table, devices):
        self.namespace, self.name, self.table = namespace, name, table
        self.devices = devices
        self._ways_in = set()
        if devices:
            namespace.ip("link", "add", name, "type", "vrf", "table", str(table))
            namespace.ip("link", "set", name, "up")

    def attach(self, interface, *addresses):
        """Puts an interface with these addresses, and the routes to its networks, into it."""
        if self.devices:
            self.namespace.ip("link", "set", interface, "master", self.name)
            for address in addresses:
                self.namespace.add_address(interface, address)
            return
        for family, address in (("-6" if ":" in address else "-4", address)
                                for address in addresses):
            network = str(ipaddress.ip_interface(address).network)
            nodad = ["nodad"] if family == "-6" else []
            self.namespace.ip("addr", "add", address, "dev", interface, "noprefixroute", *nodad)
            self.namespace.ip(family, "route", "add", network, "dev", interface, "table",
                              str(self.table))
            if (family, interface) not in self._ways_in:
                self._ways_in.add((family, interface))
                self.namespace.ip(family, "rule", "add", "iif", interface, "lookup",
                                  str(self.table), "priority", "900")
        # The way back to a sender is in no table that the check of the reverse path looks at.
        self.namespace.run("sysctl", "-q", f"net.ipv4.conf.{interface}.rp_filter=0",
                           "net.ipv4.conf.all.rp_filter=0")

    def add_route(self, network, gateway):
        """A route that only what is in it takes."""
        self.namespace.ip("route", "add", network, "via", gateway, "table", str(self.table))

    def detach(self, interface):
        """Takes an interface and all that belongs to it out again."""
        if self.devices:
            self.namespace.ip("link", "set", interface, "nomaster")
        else:
            for family in ("-4", "-6"):
                self._ways_in.discard((family, interface))
                subprocess.run(["ip", "-n", self.namespace.name, family, "rule", "del", "iif",
                                interface], capture_output=True, check=False)
        self.namespace.ip("addr", "flush", "dev", interface, "scope", "global")
