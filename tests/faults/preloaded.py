"""The daemon with a library in it that has calls fail as the test says: what preload/control.h has."""

import contextlib
import mmap
import os
import struct

WORDS = ("failing_allocation", "allocations", "failed_allocations", "clock_offset",
         "netlink_kind", "netlink_sockets", "netlink_skip", "netlink_count", "netlink_code",
         "netlink_spoilt")
SPOILS = ("whole", "truncated", "wrong sequence", "endless", "huge length", "no length", "overrun",
          "refused", "silence")
SOCKETS = ("any", "routing", "watch", "packet filter")
ALLOCATED_AT, DIED_AT, TEXT_SIZE, SIZE = 1024, 2048, 1024, 4096
COUNT_ONLY = 1 << 62
# What every program has in it, and what is in the way of its allocations.
SYSTEM = ("libc.so", "libstdc++.so", "libgcc_s.so", "libm.so", "ld-linux", "linux-vdso", "?")


class Preload:
    """What a bench's daemon is told, from its next start on. Use it as a context manager."""

    def __init__(self, bench, build):
        self._environment = bench.daemon.environment
        self._path = os.path.join(bench.daemon.configuration, "faults")
        with open(self._path, "w+b") as file:
            file.truncate(SIZE)
            self._map = mmap.mmap(file.fileno(), SIZE)
        library = os.path.join(build, "tests/faults/preload/libfaults_preload.so")
        assert os.path.exists(library), f"{library} is not built"
        self._environment.update(LD_PRELOAD=library, FAULTS_CONTROL=self._path)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for name in ("LD_PRELOAD", "FAULTS_CONTROL"):
            del self._environment[name]
        os.unlink(self._path)
        self._map.close()

    def __getitem__(self, name):
        return struct.unpack_from("<q", self._map, 8 * WORDS.index(name))[0]

    def __setitem__(self, name, value):
        struct.pack_into("<q", self._map, 8 * WORDS.index(name), value)

    def callers(self, place):
        """Object and function that something came through, the innermost first."""
        text = self._map[place:place + TEXT_SIZE].split(b"\0")[0].decode(errors="replace")
        return [word for word in text.split() if not word.startswith(SYSTEM)]

    def fail_allocation(self, number):
        """From now on allocations are counted, and this one fails."""
        self["failing_allocation"] = self["allocations"] = self["failed_allocations"] = 0
        self._map[ALLOCATED_AT:DIED_AT + TEXT_SIZE] = bytes(2 * TEXT_SIZE)
        self["failing_allocation"] = number

    def count(self, call):
        """How many allocations a call takes."""
        self.fail_allocation(COUNT_ONLY)
        call()
        self.stop_failing()
        return self["allocations"]

    def stop_failing(self):
        """Ends that."""
        self["failing_allocation"] = 0

    @contextlib.contextmanager
    def spoilt(self, kind, sockets="any", skip=0, count=1, code=0):
        """So many answers on these sockets, behind some others, are spoilt until the end of the
        block."""
        for name, value in (("sockets", SOCKETS.index(sockets)), ("skip", skip), ("count", count),
                            ("code", code), ("spoilt", 0), ("kind", SPOILS.index(kind))):
            self[f"netlink_{name}"] = value
        try:
            yield self
        finally:
            self["netlink_kind"] = 0


@contextlib.contextmanager
def preloads(benches, build):
    """A Preload for each bench."""
    with contextlib.ExitStack() as stack:
        yield {bench: stack.enter_context(Preload(bench, build)) for bench in benches}
