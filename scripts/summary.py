#!/usr/bin/env python3
"""Adds up JUnit files: one line each, every skip with its reason, and a closing line."""

import collections
import os
import re
import sys
import xml.etree.ElementTree as ElementTree


def skip_reason(case):
    """The reason that the test printed; GoogleTest puts it in the output, pytest in the element."""
    output = case.findtext("system-out") or ""
    found = re.search(r": Skipped\n(.*?)\n", output)
    if found:
        return found.group(1).strip()
    skipped = case.find("skipped")
    if skipped is None:
        return "not run"
    # A GoogleTest program's own file has the place in the source above the reason.
    message = skipped.get("message", "no reason given")
    return re.sub(r"^\S+:\d+\n", "", message).split("\n")[0].strip()


def outcome(case):
    if case.find("failure") is not None or case.find("error") is not None:
        return "failed"
    if case.find("skipped") is not None or case.get("status") in ("notrun", "disabled"):
        return "skipped"
    return "passed"


def cases_of(path):
    """The tests of a file. GoogleTest writes names of tests with bytes that are no UTF-8."""
    with open(path, encoding="utf-8", errors="replace") as file:
        return list(ElementTree.fromstring(file.read()).iter("testcase"))


def main(files):
    total = collections.Counter()
    for path in files:
        cases = cases_of(path)
        count = collections.Counter(outcome(case) for case in cases)
        total += count
        name = os.path.splitext(os.path.basename(path))[0]
        print(f"{name:24} {count['passed']:5} passed {count['failed']:3} failed "
              f"{count['skipped']:3} skipped")
        for case in cases:
            if outcome(case) == "skipped":
                print(f"           skipped {case.get('name')}: {skip_reason(case)}")
            if outcome(case) == "failed":
                print(f"           FAILED  {case.get('name')}")
    print(f"{total['passed']} passed, {total['failed']} failed, {total['skipped']} skipped")
    return 1 if total["failed"] or not total["passed"] else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
