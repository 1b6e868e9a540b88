"""The commands of a document.

A fenced block of kind `console` is a session: a line that begins with a prompt is a command, lines
that begin with ">" right behind it belong to it, all others are what it prints. There `...` stands
for any text, alone on its line for any lines, and blanks may be more or fewer. Words behind the
kind say more of its commands: `wait`, that they are repeated until they print it; `fails`, that
their status is not 0.
"""

import os
import re
from dataclasses import dataclass, field

from .daemon import TREE
from .wait import TimedOut, wait_until

PROMPT = re.compile(r"^([a-z]+[0-9]*)[#$] (.*)$")
MORE = re.compile(r"^>( |$)")


@dataclass
class Command:
    """One command of a document."""

    place: str  # file and line
    host: str
    text: str
    kinds: list
    printed: list = field(default_factory=list)

    def expression(self):
        """What the output has to match."""
        lines = []
        for line in self.printed:
            if line.strip() == "...":
                lines.append(r"(?:.*\n)*?")
            else:
                words = [re.escape(word).replace(r"\.\.\.", ".*") for word in line.split()]
                lines.append(r"[ \t]+".join(words) + r"\n")
        return re.compile(r"\A" + "".join(lines) + r"\Z")

    def is_printed_by(self, output):
        """Whether this is the output that the document tells."""
        lines = [" ".join(line.split()) for line in output.splitlines()]
        return self.expression().match("".join(line + "\n" for line in lines)) is not None


    def check(self, run):
        """Runs it by `run`, which is given the host and the text and returns the status and all that
        was printed. Fails when it does what the document does not say."""
        def attempt():
            status, output = run(self.host, self.text)
            good = self.is_printed_by(output) and (status != 0) == ("fails" in self.kinds)
            return good, f"{self.text}\nended with status {status} and printed:\n{output}"

        seen = [attempt()]
        if "wait" in self.kinds:
            try:
                wait_until(lambda: seen[-1][0] or seen.append(attempt()), "", 15.0, 0.2)
            except TimedOut:
                pass
        good, said = seen[-1]
        assert good, f"{self.place}: {said}\ninstead of:\n" + "\n".join(self.printed)


def blocks(path):
    """The fenced blocks of a document: line of the first line inside, words of the fence, lines."""
    with open(path, encoding="utf-8") as file:
        lines = file.read().splitlines()
    begin = words = None
    for number, line in enumerate(lines, 1):
        if not line.startswith("```"):
            continue
        if begin is None:
            begin, words = number + 1, line[3:].split()
        else:
            yield begin, words, lines[begin - 1:number - 1]
            begin = None
    if begin is not None:
        raise ValueError(f"{path}:{begin - 1}: the block has no end")


def commands(path):
    """The commands of a document, in order."""
    found = []
    for begin, words, lines in blocks(path):
        if words[:1] == ["console"]:
            found += session(os.path.relpath(path, TREE), begin, words[1:], lines)
    return found


def session(name, begin, kinds, lines):
    """The commands of one block."""
    if not set(kinds) <= {"wait", "fails"}:
        raise ValueError(f"{name}:{begin}: unknown kind among {kinds}")
    found, continues = [], False
    for number, line in enumerate(lines, begin):
        prompt = PROMPT.match(line)
        if prompt:
            found.append(Command(f"{name}:{number}", prompt[1], prompt[2], kinds))
        elif not found:
            raise ValueError(f"{name}:{number}: the block does not begin with a prompt")
        elif continues and MORE.match(line):
            found[-1].text += "\n" + line[2:]
        else:
            found[-1].printed.append(line)
        continues = prompt is not None or (continues and MORE.match(line) is not None)
    return found
