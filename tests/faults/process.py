"""A process as the kernel tells of it (proc(5))."""

import os


def status(process, field):
    """A number of its status; sizes are in KiB."""
    with open(f"/proc/{process}/status", encoding="ascii") as file:
        return int(next(line for line in file if line.startswith(f"{field}:")).split()[1])


def descriptors(process):
    """How many it has open."""
    return len(os.listdir(f"/proc/{process}/fd"))


def children(process):
    """The processes that this one has started and not collected, with their states."""
    found = {}
    for name in filter(str.isdigit, os.listdir("/proc")):
        try:
            with open(f"/proc/{name}/stat", encoding="ascii", errors="replace") as file:
                state, parent = file.read().rpartition(")")[2].split()[:2]
        except (FileNotFoundError, ProcessLookupError):
            continue
        if int(parent) == process:
            found[int(name)] = state
    return found
