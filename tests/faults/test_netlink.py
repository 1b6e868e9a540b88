"""Answers of the kernel's network configuration that are cut, wrong, endless, lost or refusals.
Nothing waits for long, what is told is true, and all comes right by itself."""

import errno
import itertools
import subprocess

from . import kernel
from .bench import ACKNOWLEDGED, each
from .settings import OLD, OTHER
from .table import Violation

SPOILS = [("truncated", 0), ("wrong sequence", 0), ("endless", 0), ("huge length", 0),
          ("no length", 0), ("overrun", 0), ("silence", 0),
          *(("refused", getattr(errno, name)) for name in
            ("EPERM", "ENOMEM", "EBUSY", "EINVAL", "EAGAIN", "EEXIST", "ENOENT"))]
SOCKETS = ("routing", "packet filter", "watch")
FOR_LONG = 1 << 40
# A repair takes 100 ms. What has to be tried again is, after five seconds.
AT_ONCE = 2.0
OF_SENDING = ("refused", "silence")


def cases(skips):
    """The watch asks for nothing."""
    return [(*spoil, sockets, skip) for spoil, sockets, skip in
            itertools.product(SPOILS, SOCKETS, skips)
            if sockets != "watch" or spoil[0] not in OF_SENDING]


def take_rules(bench):
    """Somebody removes all routing rules of the daemon."""
    for family in ("-4", "-6"):
        subprocess.run(["ip", "-n", bench.site.router.name, family, "rule", "flush", "protocol",
                        kernel.PROTOCOL], capture_output=True, check=False)


def spoil(bench, preload, case, count):
    """A change, and a repair, with spoilt answers. What is not in order a while behind it has been
    told."""
    kind, code, sockets, skip = case
    bench.bring(bench.settings() or OLD)
    since = bench.daemon.mark()
    with preload.spoilt(kind, sockets, skip, count, code):
        outcome = bench.commit(OTHER[bench.settings()])
        if sockets != "packet filter":
            take_rules(bench)
        bench.lasting_differences()
    if outcome != ACKNOWLEDGED:
        raise Violation(f"{outcome}\n{bench.last_records()}")
    found = bench.lasting_differences(AT_ONCE)
    if found and not bench.is_told(since):
        raise Violation(f"not told: {found}\n{bench.last_records()}")
    bench.check()
    if not preload["netlink_spoilt"]:
        return "(none came)"
    return "told, and repaired later" if found else "repaired at once"


def test_one_answer_is_spoilt(benches, loaded, row):
    each(benches, row, row.sample(cases(range(4)), 60),
         lambda bench, case: spoil(bench, loaded[bench], case, 1))
    row.hold(30)


def test_every_answer_of_a_while_is_spoilt(benches, loaded, row):
    each(benches, row, row.sample(cases([0]), 12),
         lambda bench, case: spoil(bench, loaded[bench], case, FOR_LONG))
    row.hold(8)
