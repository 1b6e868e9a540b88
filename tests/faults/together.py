"""What goes on beside a test, on threads of its own."""

import threading


class Together:
    """Each of some calls again and again on a thread of its own, with a pause in seconds before
    each time, until the end of the block. What one of them raises is raised there."""

    def __init__(self, *calls, pause=0):
        self._end, self._pause = threading.Event(), pause
        self.errors, self._counts = [], [0] * len(calls)
        self._threads = [threading.Thread(target=self._work, args=each)
                         for each in enumerate(calls)]

    def __enter__(self):
        for thread in self._threads:
            thread.start()
        return self

    def __exit__(self, kind, *_):
        self._end.set()
        for thread in self._threads:
            thread.join()
        if self.errors and kind is None:
            raise self.errors[0]

    @property
    def count(self):
        """How many calls came to their end."""
        return sum(self._counts)

    def _work(self, number, call):
        try:
            while not self._end.wait(self._pause):
                call()
                self._counts[number] += 1
        except Exception as error:  # pylint: disable=broad-except
            self.errors.append(error)
