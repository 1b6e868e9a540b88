"""ask.py ADDRESS PORT SECONDS: status 0 when one request is answered from where it was sent to."""

import socket
import sys

from load import get_request, request_id_of

REQUEST_ID = 0x01020304


def main():
    address, port, seconds = sys.argv[1], int(sys.argv[2]), float(sys.argv[3])
    family = socket.AF_INET6 if ":" in address else socket.AF_INET
    with socket.socket(family, socket.SOCK_DGRAM) as client:
        client.settimeout(seconds)
        client.connect((address, port))
        client.send(get_request(REQUEST_ID))
        try:
            return 0 if request_id_of(client.recv(2048)) == REQUEST_ID else 1
        except OSError:
            return 1


if __name__ == "__main__":
    sys.exit(main())
