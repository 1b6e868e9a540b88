"""ask.py ADDRESS PORT SECONDS [SOURCE]: status 0 when one request is answered from where it was sent
to. A link-local address names its interface: fe80::1%eth0."""

import socket
import sys

from load import get_request, request_id_of

REQUEST_ID = 0x01020304


def place(address, port, family):
    """With the number of the interface that a link-local address names."""
    return socket.getaddrinfo(address, port, family, socket.SOCK_DGRAM)[0][4]


def main():
    address, port, seconds = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
    source = sys.argv[4] if len(sys.argv) > 4 else None
    family = socket.AF_INET6 if ":" in address else socket.AF_INET
    with socket.socket(family, socket.SOCK_DGRAM) as client:
        client.settimeout(seconds)
        if source is not None:
            client.bind(place(source, 0, family))
        client.connect(place(address, port, family))
        client.send(get_request(REQUEST_ID))
        try:
            return 0 if request_id_of(client.recv(2048)) == REQUEST_ID else 1
        except OSError:
            return 1


if __name__ == "__main__":
    sys.exit(main())
