"""Programs that serve beside the daemon."""

import os
import tempfile

from .wait import wait_until


class Background:
    """A process with a folder of its own. Use it as a context manager: inside, the process serves;
    afterwards it has ended and the folder is gone. A derived class starts `process`, and says in
    `_serves` whether it does what `what` names."""

    process = None

    def __init__(self, what):
        self._what = what
        self._folder = tempfile.TemporaryDirectory(prefix="snmp-app-lab-")

    def path(self, name):
        """A file of that name in the folder."""
        return os.path.join(self._folder.name, name)

    def write(self, name, text):
        """The path of a new file."""
        with open(self.path(name), "w", encoding="ascii") as file:
            file.write(text)
        return self.path(name)

    def __enter__(self):
        try:
            wait_until(self._serves, self._what)
        except BaseException:
            self.close()
            raise
        return self

    def __exit__(self, *_):
        self.close()

    def close(self):
        self.process.kill()
        self.process.wait()
        self._folder.cleanup()

    def _serves(self):
        raise NotImplementedError
