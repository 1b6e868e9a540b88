"""A plain NETCONF client on the daemon's own socket: what the framing and the server do, without a
library between them and the test."""

import socket
import xml.etree.ElementTree as ET

BASE = "urn:ietf:params:xml:ns:netconf:base:1.0"
NS = {"nc": BASE,
      "snmp": "urn:snmp-app:snmp",
      "dyncfg": "urn:snmp-app:dyncfg",
      "state": "urn:snmp-app:state",
      "history": "urn:snmp-app:history",
      "mon": "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"}


class Refused(Exception):
    """An <rpc-error>: its tag, path and message."""

    def __init__(self, error):
        def text(name):
            return (error.findtext(f"nc:{name}", default="", namespaces=NS) or "").strip()
        self.tag, self.path, self.message = text("error-tag"), text("error-path"), text(
            "error-message")
        self.info = {element.tag.split("}")[1]: element.text
                     for element in error.iterfind("nc:error-info/*", NS)}
        super().__init__(f"{self.tag} {self.path}: {self.message}")


def hello(*versions):
    capabilities = "".join(f"<capability>urn:ietf:params:netconf:base:{version}</capability>"
                           for version in versions)
    return f'<hello xmlns="{BASE}"><capabilities>{capabilities}</capabilities></hello>'


def port_edit(port):
    """Content of an edit that gives the agent this port."""
    return ('<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent>'
            f"<port>{port}</port></snmpAgent></confdConfig>")


class Client:
    """One session. Use it as a context manager. `connection`, if given, is connected already."""

    def __init__(self, path, versions=("1.0", "1.1"), seconds=10.0, connection=None):
        self.socket = connection or self.connect(path, seconds)
        self.socket.settimeout(seconds)
        self._input = b""
        self.is_chunked = False
        self._last_id = 0
        if versions:
            self.hello = ET.fromstring(self.receive())
            self.send_bytes((hello(*versions) + "]]>]]>").encode())
            self.is_chunked = "1.1" in versions

    def connect(self, path, seconds):
        """A socket to the server, on which nothing takes longer than that."""
        connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        connection.settimeout(seconds)
        connection.connect(path)
        return connection

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.socket.close()

    def send_bytes(self, data):
        self.socket.sendall(data)

    def send(self, message):
        data = message.encode()
        self.send_bytes(b"\n#%d\n" % len(data) + data + b"\n##\n" if self.is_chunked
                        else data + b"]]>]]>")

    def _fill(self):
        data = self.socket.recv(65536)
        if not data:
            raise ConnectionError("the server has closed the session")
        self._input += data

    def _take_until(self, end):
        while end not in self._input:
            self._fill()
        taken, self._input = self._input.split(end, 1)
        return taken

    def receive(self):
        """The next message."""
        if not self.is_chunked:
            return self._take_until(b"]]>]]>").decode()
        message = b""
        while True:
            assert self._take_until(b"#") == b"\n"
            header = self._take_until(b"\n")
            if header == b"#":
                return message.decode()
            size = int(header)
            while len(self._input) < size:
                self._fill()
            message, self._input = message + self._input[:size], self._input[size:]

    def is_closed(self):
        """Waits until the server has closed the session."""
        try:
            while True:
                self._fill()
        except (ConnectionError, OSError):
            return True

    def rpc(self, operation):
        """The reply to an operation, given as XML in the NETCONF namespace. Raises Refused."""
        self._last_id += 1
        self.send(f'<rpc xmlns="{BASE}" message-id="{self._last_id}">{operation}</rpc>')
        reply = ET.fromstring(self.receive())
        error = reply.find("nc:rpc-error", NS)
        # Of a request that could not be read nobody knows its number.
        assert reply.get("message-id") in (str(self._last_id), *([] if error is None else [None]))
        if error is not None:
            raise Refused(error)
        return reply

    def edit(self, content, target="running", **options):
        """One <edit-config>; options are its other leaves, such as test_option."""
        leaves = "".join(f"<{name.replace('_', '-')}>{value}</{name.replace('_', '-')}>"
                         for name, value in options.items())
        return self.rpc(f"<edit-config><target><{target}/></target>{leaves}"
                        f'<config xmlns:nc="{BASE}">{content}</config></edit-config>')

    def get_config(self, source="running", filters="", more=""):
        return self.rpc(f"<get-config><source><{source}/></source>{filters}{more}</get-config>")

    def state(self):
        """The daemon's own state: the element <snmp-state>."""
        reply = self.get('<filter type="subtree"><snmp-state xmlns="urn:snmp-app:state"/></filter>')
        return reply.find(".//state:snmp-state", NS)

    def get(self, filters="", more=""):
        return self.rpc(f"<get>{filters}{more}</get>")
