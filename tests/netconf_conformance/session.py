"""A NETCONF session that leaves replies as they are: tags, paths and order are what is checked."""

import socket
import subprocess
import xml.etree.ElementTree as ET

from lab.netconf import BASE, Client

MODEL = "urn:snmp-app:test:conformance"
MONITORING = "urn:ietf:params:xml:ns:yang:ietf-netconf-monitoring"
LIBRARY = "urn:ietf:params:xml:ns:yang:ietf-yang-library"
WITH_DEFAULTS = "urn:ietf:params:xml:ns:yang:ietf-netconf-with-defaults"
DEFAULT = "urn:ietf:params:xml:ns:netconf:default:1.0"
YANG = "urn:ietf:params:xml:ns:yang:1"
XML = "http://www.w3.org/XML/1998/namespace"


def local(element):
    return element.tag.rpartition("}")[2]


def text_of(element):
    return (element.text or "").strip()


def shape(element):
    """An element without namespaces and blanks: `name`, `name=text` or `name{child child}`."""
    children = list(element)
    if children:
        return local(element) + "{" + " ".join(map(shape, children)) + "}"
    text = text_of(element)
    return f"{local(element)}={text}" if text else local(element)


class Error:
    """One <rpc-error>."""

    def __init__(self, element):
        self.element = element
        self.type, self.tag = self._text("error-type"), self._text("error-tag")
        self.severity, self.app_tag = self._text("error-severity"), self._text("error-app-tag")
        self.path, self.message = self._text("error-path"), self._text("error-message")
        info = element.find(f"{{{BASE}}}error-info")
        self.info = {} if info is None else {local(part): text_of(part) for part in info}

    def _text(self, name):
        return (self.element.findtext(f"{{{BASE}}}{name}") or "").strip()

    def __repr__(self):
        return ET.tostring(self.element, encoding="unicode")


class Reply:
    """One <rpc-reply>."""

    def __init__(self, text):
        self.text = text
        self.root = ET.fromstring(text)
        self.errors = [Error(error) for error in self.root.iterfind(f"{{{BASE}}}rpc-error")]

    @property
    def is_ok(self):
        return [child.tag for child in self.root] == [f"{{{BASE}}}ok"]

    @property
    def error(self):
        assert len(self.errors) == 1, self.text
        return self.errors[0]

    @property
    def data(self):
        assert [local(child) for child in self.root] == ["data"], self.text
        return self.root[0]

    @property
    def shape(self):
        """What stands in the <data>."""
        return " ".join(map(shape, self.data))

    def find_all(self, name):
        """The elements of that name, whatever their namespace."""
        return [element for element in self.root.iter() if local(element) == name]

    def texts(self, name):
        return [text_of(element) for element in self.find_all(name)]


def top(content, attributes=""):
    """Data of the model that is here for these checks."""
    return f'<top xmlns="{MODEL}" xmlns:yang="{YANG}"{attributes}>{content}</top>'


def row(name, more="", attributes=""):
    return f"<row{attributes}><name>{name}</name>{more}</row>"


def op(operation):
    """The attribute that says what an edit does to its element."""
    return f' nc:operation="{operation}"'


def edit(content, target="running", **options):
    leaves = "".join(f"<{name.replace('_', '-')}>{value}</{name.replace('_', '-')}>"
                     for name, value in options.items())
    return (f"<edit-config><target><{target}/></target>{leaves}"
            f'<config xmlns:nc="{BASE}" xmlns:wd="{DEFAULT}">{content}</config></edit-config>')


def on(operation, target="running"):
    return f"<{operation}><target><{target}/></target></{operation}>"


def get_config(filters="", source="running", more=""):
    return f"<get-config><source><{source}/></source>{filters}{more}</get-config>"


def copy(target, source):
    return f"<copy-config><target><{target}/></target><source>{source}</source></copy-config>"


def subtree(content):
    return f'<filter type="subtree">{content}</filter>'


def xpath(select):
    return f'<filter type="xpath" xmlns:cf="{MODEL}" select="{select}"/>'


def with_defaults(mode):
    return f'<with-defaults xmlns="{WITH_DEFAULTS}">{mode}</with-defaults>'


def get_schema(content):
    return f'<get-schema xmlns="{MONITORING}">{content}</get-schema>'


class Session(Client):
    """One session; also one that has not said hello, with no versions."""

    def raw(self, message):
        """The reply to a whole message without framing, text or bytes."""
        if isinstance(message, bytes):
            self.send_bytes(b"\n#%d\n%b\n##\n" % (len(message), message) if self.is_chunked
                            else message + b"]]>]]>")
        else:
            self.send(message)
        return Reply(self.receive())

    def ask(self, operation, attributes='message-id="1"'):
        return self.raw(f'<rpc xmlns="{BASE}" {attributes}>{operation}</rpc>')

    def done(self, operation):
        """Has an operation done, which must be."""
        reply = self.ask(operation)
        assert reply.is_ok, reply.text
        return reply

    def top(self, source="running", more=""):
        """What of the model's data is in a datastore."""
        return self.ask(get_config(subtree(top("")), source, more)).shape

    def state(self, content):
        """The server's state that a filter selects."""
        return self.ask(f"<get>{subtree(content)}</get>")

    @property
    def number(self):
        return int(self.hello.findtext(f"{{{BASE}}}session-id"))

    @property
    def capabilities(self):
        return [text_of(element) for element in self.hello.iter(f"{{{BASE}}}capability")]


class SshSession(Session):
    """The same by the system's ssh, as the subsystem `netconf` of a server."""

    def __init__(self, namespace, server, versions=("1.0", "1.1"), seconds=20.0):
        self.namespace, self.server, self.process = namespace, server, None
        super().__init__(None, versions, seconds)

    def connect(self, path, seconds):
        ours, theirs = socket.socketpair()
        ours.settimeout(seconds)
        with theirs:
            self.process = subprocess.Popen(
                self.namespace.command(
                    "ssh", "-F", "none", "-p", str(self.server.port), "-i", self.server.key,
                    "-o", "BatchMode=yes", "-o", "StrictHostKeyChecking=no",
                    "-o", "UserKnownHostsFile=/dev/null", "-o", "LogLevel=ERROR",
                    "-s", f"{self.server.user}@127.0.0.1", "netconf"),
                stdin=theirs, stdout=theirs, stderr=subprocess.PIPE)
        return ours

    def __exit__(self, *_):
        super().__exit__(*_)
        self.process.kill()
        self.process.communicate()
