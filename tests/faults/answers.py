"""What the daemon answers managers and operators."""

import time

from lab.load import get_request, request_id_of
from lab.netconf import NS


def send(manager, request):
    """Sends a request; what came back for the one before is not this one's failure."""
    try:
        manager.send(request)
    except ConnectionRefusedError:
        manager.send(request)


def answered(manager, communities, seconds):
    """Which of these communities are answered, the last of them with some patience. Datagrams are
    answered in their order, so what is before it is answered until then or not at all."""
    found = set()
    deadline = time.monotonic() + seconds
    while communities[-1] not in found and time.monotonic() < deadline:
        for number, community in enumerate(communities):
            send(manager, get_request(0x01000000 + number, community.encode()))
        manager.settimeout(1)
        try:
            while communities[-1] not in found:
                found.add(communities[request_id_of(manager.recv(2048)) - 0x01000000])
        except (TimeoutError, ConnectionRefusedError):
            pass
    return found


def shortcomings(state):
    """What the daemon's state says is not as it should be."""
    for kind, leaf in (("listener", "bound"), ("listening-interface", "redirect"),
                       ("target", "rule")):
        for entry in state.iterfind(f".//state:{kind}", NS):
            if entry.findtext(f"state:{leaf}", namespaces=NS) != "true":
                yield f"{kind}: {entry.findtext('state:reason', namespaces=NS)}"
    if state.findtext(".//state:retry-pending", namespaces=NS) == "true":
        yield "retry pending"
