#!/usr/bin/env python3
"""Sources as few units, with a compilation database of their own: tidy_units.py BUILD FOLDER
SOURCE... A unit includes sources that are compiled alike, so what they all include is read once.
Sources whose names clash go to different units."""

import concurrent.futures
import json
import os
import re
import shlex
import subprocess
import sys

SOURCES_EACH = 8


def alike(build, sources):
    """Sources by folder and words of their compiler's call, without source and object."""
    with open(os.path.join(build, "compile_commands.json"), encoding="utf-8") as file:
        entries = {entry["file"]: entry for entry in json.load(file)}
    found = {}
    for source in map(os.path.abspath, sources):
        words = shlex.split(entries[source]["command"])
        call = (entries[source]["directory"], *words[:words.index("-o")])
        found.setdefault(call, []).append(source)
    return found


def text(sources):
    return "".join(f'#include "{source}"\n' for source in sources)


def clashing(call, sources):
    """The sources that do not compile behind the ones before them."""
    folder, _, *words = call
    compiler = ["clang++", *words, "-w", "-fsyntax-only", "-ferror-limit=0", "-xc++", "-"]
    done = subprocess.run(compiler, cwd=folder, input=text(sources), capture_output=True, text=True,
                          check=False)
    places = set(re.findall(r"^(.*?):\d+:\d+: (?:fatal )?error: ", done.stderr, re.MULTILINE))
    # An error in a header tells no source: the first one stays, the others go elsewhere.
    return [] if done.returncode == 0 else [each for each in sources[1:]
                                            if each in places or not places & set(sources[1:])]


def units(call, sources):
    """The sources of each unit."""
    later = []
    while len(sources) > 1 and (clash := clashing(call, sources)):
        later += clash
        sources = [each for each in sources if each not in clash]
    return [sources] + (units(call, later) if later else [])


def batches(sources):
    """Of about one size, with no more than SOURCES_EACH."""
    count = -(-len(sources) // SOURCES_EACH)
    return [sources[first::count] for first in range(count)]


def main(build, folder, *sources):
    found = [(call, batch) for call, members in alike(build, sources).items()
             for batch in batches(members)]
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        split = list(pool.map(units, *zip(*found)))
    os.makedirs(folder, exist_ok=True)
    database = []
    for (call, _), parts in zip(found, split):
        for part in parts:
            unit = os.path.join(os.path.abspath(folder), f"{len(database)}.cpp")
            with open(unit, "w", encoding="utf-8") as file:
                file.write(text(part))
            database.append({"directory": call[0], "file": unit,
                             "command": shlex.join((*call[1:], "-c", unit))})
    with open(os.path.join(folder, "compile_commands.json"), "w", encoding="utf-8") as file:
        json.dump(database, file, indent=1)


if __name__ == "__main__":
    main(*sys.argv[1:])
