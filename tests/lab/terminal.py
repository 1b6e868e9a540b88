"""A terminal that a program writes to."""

import os
import pty
import select
import subprocess
import time

from .wait import TimedOut


class Terminal:
    """A program on a terminal of its own; `text` is all that it has printed. Use it as a context
    manager: the program has ended afterwards."""

    def __init__(self, command, environment):
        self._screen, inside = pty.openpty()
        # pylint: disable=consider-using-with
        self.process = subprocess.Popen(command, env=environment, stdin=inside, stdout=inside,
                                        stderr=inside, start_new_session=True)
        os.close(inside)
        self.text = ""

    def __enter__(self):
        return self

    def __exit__(self, *_):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()
        os.close(self._screen)

    def read_until(self, condition, what, seconds=10.0):
        """Reads until condition(text) is true."""
        deadline = time.monotonic() + seconds
        while not condition(self.text):
            left = deadline - time.monotonic()
            if left <= 0 or not self._read(left):
                raise TimedOut(f"not within {seconds:g} s: {what}:\n{self.text}")

    def read_all(self, seconds=10.0):
        """Reads to the program's end; returns its status."""
        deadline = time.monotonic() + seconds
        while self._read(deadline - time.monotonic()):
            pass
        return self.process.wait(timeout=max(deadline - time.monotonic(), 0.1))

    def _read(self, seconds):
        """False when there is nothing more to come, or nothing came in time."""
        if not select.select([self._screen], [], [], max(seconds, 0))[0]:
            return False
        try:
            part = os.read(self._screen, 65536)
        except OSError:  # The other end is closed.
            return False
        self.text += part.decode()
        return bool(part)
