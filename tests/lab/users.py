"""Users that the machine does not have: groups of their own, and connections in their name."""

import os
import socket

from .network import run

READER = 64001  # the group snmp-app-read
OPERATOR = 64002  # the group snmp-app
NOBODY = 64003  # a group without a name

GROUP_FILE = "/etc/group"


def can_change_users():
    """Whether processes here can be other users: not where root is all that a user namespace has."""
    with open("/proc/self/uid_map", encoding="ascii") as file:
        return os.getuid() == 0 and int(file.read().split()[2]) > 65536


class Groups:
    """The daemon's groups in this mount namespace, without a trace in the machine's files. Use it
    as a context manager."""

    def __init__(self, folder):
        self.file = os.path.join(folder, "group")

    def __enter__(self):
        with open(GROUP_FILE, encoding="utf-8") as file:
            others = [line for line in file if not line.startswith("snmp-app")]
        with open(self.file, "w", encoding="utf-8") as file:
            file.writelines(others)
            file.write(f"snmp-app-read:x:{READER}:\nsnmp-app:x:{OPERATOR}:\n")
        run("mount", "--bind", self.file, GROUP_FILE)
        return self

    def __exit__(self, *_):
        run("umount", GROUP_FILE)


def become(user, group, further=()):
    """Makes this process a user's, with that group and further ones."""
    os.setgroups(list(further))
    os.setresgid(group, group, group)
    os.setresuid(user, user, user)


def connect_as(path, user, group, further=()):
    """A connection to a UNIX socket by a process of that user, who stays its peer; raises OSError
    as connect() there."""
    ours, theirs = socket.socketpair(socket.AF_UNIX, socket.SOCK_STREAM)
    child = os.fork()
    if child == 0:
        try:
            connection = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
            become(user, group, further)
            error = connection.connect_ex(path)
            socket.send_fds(theirs, [str(error).encode()], [connection.fileno()])
        finally:
            os._exit(0)  # pylint: disable=protected-access
    theirs.close()
    with ours:
        text, descriptors, _, _ = socket.recv_fds(ours, 16, 1)
    os.waitpid(child, 0)
    connection = socket.socket(fileno=descriptors[0])
    if text != b"0":
        connection.close()
        raise OSError(int(text), os.strerror(int(text)))
    return connection
