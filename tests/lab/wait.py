"""Waiting for a condition with a deadline."""

import time


class TimedOut(AssertionError):
    pass


def wait_until(condition, what, seconds=10.0, pause=0.02):
    """Returns the first true result of condition(); raises TimedOut that says what was missing."""
    deadline = time.monotonic() + seconds
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > deadline:
            raise TimedOut(f"not within {seconds:g} s: {what}")
        time.sleep(pause)
