"""Sockets inside of namespaces, for tests that look at each packet of a manager's."""

import ctypes
import os
import socket
import threading

from .load import get_request, request_id_of

CLONE_NEWNET = 0x40000000
SO_NO_CHECK = 11


def socket_in(namespace, family):
    """A UDP socket in a namespace: a thread that goes there opens it."""
    opened = []

    def enter():
        library = ctypes.CDLL(None, use_errno=True)
        descriptor = os.open(f"/run/netns/{namespace.name}", os.O_RDONLY)
        if library.setns(descriptor, CLONE_NEWNET) == 0:
            opened.append(socket.socket(family, socket.SOCK_DGRAM))
        os.close(descriptor)

    thread = threading.Thread(target=enter)
    thread.start()
    thread.join()
    if not opened:
        raise RuntimeError(f"no socket in {namespace.name}")
    return opened[0]


class Poller:
    """A manager that keeps its socket: it hears what comes from the address and port that it asks,
    and nothing else. Use it as a context manager."""

    def __init__(self, namespace, address, port=161, source_port=0):
        version_6 = ":" in address
        self.socket = socket_in(namespace, socket.AF_INET6 if version_6 else socket.AF_INET)
        self.socket.bind(("::" if version_6 else "0.0.0.0", source_port))
        self.socket.connect((address, port))
        self._next = 0x01000000

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def without_checksum(self):
        """Requests carry none from now on."""
        self.socket.setsockopt(socket.SOL_SOCKET, SO_NO_CHECK, 1)
        return self

    def send(self, request_id):
        """Sends a request; one that comes back as refused is no failure of this one."""
        try:
            self.socket.send(get_request(request_id))
        except ConnectionRefusedError:
            self.socket.send(get_request(request_id))

    def receive(self, seconds):
        """The next packet; None when none comes in that time."""
        # 0 is what a socket calls "do not wait".
        self.socket.settimeout(seconds)
        try:
            return self.socket.recv(65535)
        except (socket.timeout, ConnectionRefusedError, BlockingIOError):
            return None

    def answer(self, seconds):
        """The request-id of the next answer; None when none comes in that time."""
        packet = self.receive(seconds)
        return None if packet is None else request_id_of(packet)

    def is_answered(self, seconds=2.0):
        """Whether a new request is."""
        self._next += 1
        self.send(self._next)
        return self.answer(seconds) == self._next
