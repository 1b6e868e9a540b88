"""An open-loop SNMP client: sends requests at a steady rate and counts what is answered.

As a program: load.py ADDRESS PORT RATE, for at least two seconds and until its standard input
closes; prints the counts, and the longest wait for an answer, as JSON.
"""

import json
import select
import socket
import subprocess
import sys
import threading
import time


def get_request(request_id, community=b"public"):
    """An SNMPv2c GetRequest of sysUpTime.0 (RFC 3416), with a request-id of four bytes."""
    def tlv(tag, content):
        return bytes([tag, len(content)]) + content
    name = tlv(0x06, bytes([0x2B, 6, 1, 2, 1, 1, 3, 0]))
    bindings = tlv(0x30, tlv(0x30, name + tlv(0x05, b"")))
    pdu = tlv(0xA0, tlv(0x02, request_id.to_bytes(4, "big")) + tlv(0x02, b"\0") +
              tlv(0x02, b"\0") + bindings)
    return tlv(0x30, tlv(0x02, b"\1") + tlv(0x04, community) + pdu)


def request_id_of(answer):
    """The request-id of an answer whose lengths all are one byte long."""
    at = 2 + 3
    at += 2 + answer[at + 1]
    return int.from_bytes(answer[at + 4:at + 8], "big")


class Counter:
    """The client inside this process."""

    FIRST = 0x01000000
    LEAST_SECONDS = 2

    def __init__(self, address, port, rate):
        self.peer = (address, port)
        self.rate = rate
        self.sent_at = []
        self.answered = set()
        self.longest = 0.0
        self.stop = threading.Event()
        self.socket = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
        self.socket.bind(("0.0.0.0", 0))

    def run(self):
        begin = time.monotonic()
        while not self.stop.is_set() or time.monotonic() - begin < self.LEAST_SECONDS:
            due = int((time.monotonic() - begin) * self.rate)
            while len(self.sent_at) < due:
                self.socket.sendto(get_request(self.FIRST + len(self.sent_at)), self.peer)
                self.sent_at.append(time.monotonic())
            self._receive(1 / self.rate)
        # Whatever was sent last has a second to be answered.
        deadline = time.monotonic() + 1
        while len(self.answered) < len(self.sent_at) and time.monotonic() < deadline:
            self._receive(0.05)
        return {"sent": len(self.sent_at), "lost": len(self.sent_at) - len(self.answered),
                "seconds": time.monotonic() - begin, "longest": self.longest}

    def _receive(self, seconds):
        while select.select([self.socket], [], [], seconds)[0]:
            request_id = request_id_of(self.socket.recv(2048))
            self.answered.add(request_id)
            waited = time.monotonic() - self.sent_at[request_id - self.FIRST]
            self.longest = max(self.longest, waited)
            seconds = 0


class Load:
    """The client as a process in a namespace; use it as a context manager."""

    def __init__(self, namespace, address, port=161, rate=1000):
        self.process = subprocess.Popen(
            namespace.command("/usr/bin/python3", __file__, address, str(port), str(rate)),
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def finish(self):
        """Ends the sending and returns the counts: sent, lost, seconds, longest."""
        output, _ = self.process.communicate(timeout=20)
        return json.loads(output)


def main():
    counter = Counter(sys.argv[1], int(sys.argv[2]), int(sys.argv[3]))
    thread = threading.Thread(target=lambda: (sys.stdin.read(), counter.stop.set()))
    thread.start()
    print(json.dumps(counter.run()))
    thread.join()


if __name__ == "__main__":
    main()
