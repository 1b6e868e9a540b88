"""What the tour prints, and its count of what was seen."""

import re
import sys
import textwrap

WIDTH = 92
RECORD = re.compile(r"\S+T(?P<time>[\d:]+)\.\d+ (?P<level>\w+) +(?P<category>\S+) "
                    r"\[[^]]*\] (?P<text>.*)")
SHOWN = ("snmp-app", "snmp-app-agent", "snmp-app-listen", "fault", "rules")
BOLD, DIM, GOOD, ALERT, TYPED, PLAIN = (
    ("\033[1m", "\033[2m", "\033[32m", "\033[31m", "\033[36m", "\033[0m") if sys.stdout.isatty()
    else ("",) * 6)


def text_of(line):
    """What a record says, without its place."""
    return RECORD.match(line)["text"]


class Screen:
    """Prints the steps, the operator's commands, the daemon's records and the proofs."""

    def __init__(self, daemon, waits=False):
        """With `waits`, somebody reads along: Enter leads to the next step."""
        self.daemon = daemon
        self._waits = waits
        self.seen = 0
        self.missed = []
        self._steps = 0
        self._shown = 0

    @staticmethod
    def heading(text):
        print(f"\n{BOLD}{text}{PLAIN}", flush=True)

    def step(self, title, explanation=""):
        if self._waits and self._steps > 0:
            self._wait(title)
        self._steps += 1
        self.heading(f"{self._steps}. {title}")
        self.say(explanation)

    def _wait(self, title):
        try:
            input(f"\n{DIM}Enter: {title}{PLAIN} ")
        except EOFError:
            self._waits = False

    @staticmethod
    def say(text):
        """A paragraph of the tour's own."""
        Screen.output(textwrap.fill(" ".join(text.split()), WIDTH))

    def typed(self, prompt, command, reply=""):
        """What somebody types, and what comes back."""
        print(f"   {prompt} {TYPED}{command}{PLAIN}", flush=True)
        self.output(reply)

    @staticmethod
    def output(text):
        print("".join(f"   {line}\n" for line in text.splitlines()), end="", flush=True)

    def log(self):
        """The daemon's records since the last call, shortened to what they say."""
        for line in self.daemon.lines[self._shown:]:
            record = RECORD.match(line)
            if record is None:
                print(f"  {ALERT}{line}{PLAIN}", flush=True)
            elif record["level"] != "detail" and record["category"] in SHOWN:
                print(f"  {DIM}{record['time']}  {record['category']:15} {record['text']}{PLAIN}",
                      flush=True)
        self._shown = len(self.daemon.lines)

    def expect(self, what, check):
        """check() is the proof: True, or what it saw, which is shown; anything else is a miss."""
        self.log()
        try:
            proof = check()
        except (AssertionError, RuntimeError) as error:
            proof = None
            print(f"  {error}")
        self.log()
        if proof:
            self.seen += 1
            said = "" if proof is True else f": {proof}"
            print(f"  {GOOD}ok{PLAIN}    {what}{said}", flush=True)
        else:
            self.missed.append(what)
            print(f"  {ALERT}MISSED{PLAIN} {what}", flush=True)

    def summary(self):
        return (f"{self.seen} steps seen to work, {len(self.missed)} missed"
                + "".join(f"\n  missed: {what}" for what in self.missed))
