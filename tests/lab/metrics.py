"""Metrics in Prometheus' text format, version 0.0.4, read strictly."""

import re

NAME = r"[a-zA-Z_:][a-zA-Z0-9_:]*"
LABEL = r'([a-zA-Z_][a-zA-Z0-9_]*)="((?:[^"\\\n]|\\["\\n])*)"'
SAMPLE = re.compile(rf"({NAME})(?:\{{({LABEL}(?:,{LABEL})*)\}})? ([^ ]+)")
TYPES = ("gauge", "counter")


def parse(text):
    """The values by metric and labels: {name: {((label, value), ...): number}}. Raises ValueError
    for what the format does not have, a metric without HELP and TYPE or with more than one, samples
    that are not together, and one that comes twice."""
    if not text.endswith("\n"):
        raise ValueError("the last line has no end")
    metrics, name = {}, None
    lines = iter(text.splitlines())
    for line in lines:
        help_line = re.fullmatch(rf"# HELP ({NAME}) (\S.*)", line)
        if help_line:
            name = help_line.group(1)
            kind = re.fullmatch(rf"# TYPE {name} (\w+)", next(lines, ""))
            if kind is None or kind.group(1) not in TYPES or name in metrics:
                raise ValueError(f"{name} has no TYPE behind its HELP, or comes twice")
            metrics[name] = {}
            continue
        sample = SAMPLE.fullmatch(line)
        if sample is None or sample.group(1) != name:
            raise ValueError(f"no sample of {name}: {line!r}")
        labels = tuple(re.findall(LABEL, sample.group(2) or ""))
        if labels in metrics[name] or len(dict(labels)) != len(labels):
            raise ValueError(f"twice: {line!r}")
        metrics[name][labels] = float(sample.groups()[-1])
    empty = [name for name, samples in metrics.items() if not samples]
    if empty:
        raise ValueError(f"no samples: {empty}")
    return metrics
