"""Network namespaces and the links between them."""

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


def connect(left, left_interface, right, right_interface):
    """A cable between two namespaces."""
    left.ip("link", "add", left_interface, "type", "veth", "peer", "name", right_interface,
            "netns", right.name)
    left.ip("link", "set", left_interface, "up")
    right.ip("link", "set", right_interface, "up")
