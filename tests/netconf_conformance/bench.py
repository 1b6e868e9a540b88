"""The daemon that all checks share, and what puts it back behind each of them."""

import glob
import os
import shutil
import tempfile

from lab import ssh
from lab.daemon import TREE, Daemon, configuration, merged
from lab.network import Namespace
from lab.wait import wait_until
from netconf_conformance.session import Session, SshSession, copy, get_config, on, row, top

HERE = os.path.dirname(os.path.abspath(__file__))

# What running has at the begin of each check, beside the agent's own.
ROWS = row("a", "<number>1</number><note>first</note><more><depth>7</depth></more>") + row(
    "b", "<number>2</number>")
STEPS = "".join(f"<step><id>{number}</id></step>" for number in (1, 2, 3))
BASIS = top("<text>hello</text><tag>s</tag><tag>t</tag><rank>x</rank><rank>y</rank><rank>z</rank>" +
            ROWS + STEPS)
SHAPE = ("top{text=hello tag=s tag=t rank=x rank=y rank=z "
         "row{name=a number=1 note=first more{depth=7}} row{name=b number=2} "
         "step{id=1} step{id=2} step{id=3}}")


class Bench:
    """One daemon in a namespace. `session` opens a session that ends with the check."""

    def __init__(self, build):
        self.router = Namespace("conformance")
        self._models = tempfile.TemporaryDirectory(prefix="snmp-app-models-")
        for path in glob.glob(f"{TREE}/yang/*.yang") + glob.glob(f"{HERE}/models/*.yang"):
            shutil.copy(path, self._models.name)
        self.daemon = Daemon(self.router, build)
        self.daemon.environment["SNMP_APP_MODELS"] = self._models.name
        self._sshd = None
        self._open = []

    def __enter__(self):
        try:
            self.daemon.write_startup(configuration("127.0.0.1", port=1161))
            self.daemon.start()
            with Session(self.daemon.netconf_socket) as session:
                session.done(f"<edit-config><target><running/></target><config>{BASIS}</config>"
                             "</edit-config>")
                self._basis = self._content(session)
        except BaseException:
            self.__exit__()
            raise
        return self

    def __exit__(self, *_):
        try:
            self.end_sessions()
            if self._sshd is not None:
                self._sshd.close()
        finally:
            with self.daemon:
                pass
            self.router.remove()
            self._models.cleanup()

    @staticmethod
    def _content(session):
        reply = session.raw('<rpc xmlns="urn:ietf:params:xml:ns:netconf:base:1.0" message-id="1">'
                            f"{get_config()}</rpc>").text
        return reply[reply.index("<data>") + len("<data>"):reply.index("</data>")]

    def session(self, versions=("1.0", "1.1")):
        self._open.append(Session(self.daemon.netconf_socket, versions))
        return self._open[-1]

    @property
    def sshd(self):
        """The SSH server, once it is asked for."""
        if self._sshd is None:
            self._sshd = ssh.Server(self.router, self.daemon.netconf_socket).__enter__()
        return self._sshd

    def ssh(self, versions=("1.0", "1.1")):
        self._open.append(SshSession(self.router, self.sshd, versions))
        return self._open[-1]

    def end_sessions(self):
        while self._open:
            self._open.pop().__exit__()

    def put_back(self):
        """Ends what a check has begun, and undoes what it has changed."""
        self.end_sessions()
        assert self.daemon.process.poll() is None, "the daemon has ended"
        with Session(self.daemon.netconf_socket) as session:
            self._lock_all(session)
            session.done("<discard-changes/>")
            if self._content(session) != self._basis:
                session.done(copy("running", f"<config>{self._basis}</config>"))
                assert self._content(session) == self._basis

    @staticmethod
    def _lock_all(session):
        """Waits for the end of the sessions that had locks or changes."""
        session.ask("<discard-changes/>")
        for datastore in ("running", "candidate"):
            wait_until(lambda name=datastore: (session.ask("<discard-changes/>") and
                                               session.ask(on("lock", name)).is_ok),
                       f"the lock of {datastore}")


__all__ = ["BASIS", "SHAPE", "Bench"]
