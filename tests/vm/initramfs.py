"""A file system for the kernel to start with: a cpio archive of kind "newc"
(Documentation/driver-api/early-userspace/buffer-format.rst of the kernel)."""

import os
import stat

LINK = stat.S_IFLNK | 0o777
FOLDER = stat.S_IFDIR | 0o755
PROGRAM = stat.S_IFREG | 0o755


class Archive:
    """Written as it goes, with the folders that lead to each file; a name is taken once. Several
    archives one after another make one file system. Use it as a context manager."""

    def __init__(self, path):
        self._file = open(path, "wb")  # pylint: disable=consider-using-with
        self._names = set()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self._entry("TRAILER!!!", 0, b"", 0)
        self._file.write(bytes(-self._file.tell() % 512))
        self._file.close()

    def add(self, name, mode, content=b"", changed=0):
        """A file, folder or link (its target is the content); `changed` in seconds since 1970."""
        name = name.strip("/")
        if not name or name in self._names:
            return
        self.add(os.path.dirname(name), FOLDER)
        self._names.add(name)
        self._entry(name, mode, content, changed)

    def copy(self, path, name=None):
        """What is at this path of the machine, under its own name or another. Times are kept:
        compiled Python is of use with them only. Sockets and devices are left out."""
        status = os.lstat(path)
        content = b""
        if stat.S_ISLNK(status.st_mode):
            content = os.fsencode(os.readlink(path))
        elif stat.S_ISREG(status.st_mode):
            with open(path, "rb") as file:
                content = file.read()
        elif not stat.S_ISDIR(status.st_mode):
            return
        self.add(name or path, status.st_mode, content, int(status.st_mtime))

    def _entry(self, name, mode, content, changed):
        raw = os.fsencode(name) + b"\0"
        number = len(self._names)
        fields = (number, mode, 0, 0, 1, changed, len(content), 0, 0, 0, 0, len(raw), 0)
        header = b"070701" + b"".join(b"%08x" % field for field in fields) + raw
        for part in (header, content):
            self._file.write(part + bytes(-len(part) % 4))
