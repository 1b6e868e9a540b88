"""What a network namespace has: the daemon's part, and everything else byte by byte."""

import ipaddress
import json
import re
from dataclasses import dataclass

TABLE = "snmp-app"
PROTOCOL = "175"
# What the daemon asks its own listeners from, now and then: the kernel chooses the port.
OWN_REQUESTS = range(32768, 60600)
END = "-- end of a listing --"
# As JSON nft (1.0.6) lists maps only: what it has of a table's flags is memory that was given back,
# which makes it anything, or the end of the listing.
LISTINGS = ["cat /proc/net/udp", "cat /proc/net/udp6", "nft -a list ruleset", "nft -j list maps",
            "ip -j -4 rule", "ip -j -6 rule", "ip -4 route show table all",
            "ip -6 route show table all"]


@dataclass(frozen=True)
class Seen:
    """One look at a kernel."""

    things: frozenset  # the daemon's, as texts of oracle.Wanted.things
    foreign: str


def address_of(text):
    """An address as /proc/net/udp has it: words of four bytes in the machine's order."""
    words = [int(text[at:at + 8], 16).to_bytes(4, "little") for at in range(0, len(text), 8)]
    return str(ipaddress.ip_address(b"".join(words)))


def listeners(listing):
    for address, port in re.findall(r"^ *\d+: ([0-9A-F]+):([0-9A-F]{4})", listing, re.MULTILINE):
        if int(port, 16) not in OWN_REQUESTS:
            yield f"listener {address_of(address)} {int(port, 16)}"


def foreign_tables(ruleset):
    """The tables of others, each as a text."""
    tables = re.split("^(?=table )", ruleset, flags=re.MULTILINE)
    return [table for table in tables if not re.match(f"table [a-z]+ {TABLE} ", table)]


def redirects(parts):
    """From the maps in which the daemon keeps them; what one of them lacks or has besides shows."""
    maps = {part["map"]["name"]: part["map"].get("elem", []) for part in parts
            if part.get("map", {}).get("table") == TABLE}
    back = dict(maps.get("back", []))
    dropped = {port for port, _ in maps.get("ports", [])}
    for key, redirect in maps.get("to", []):
        name, port = key["concat"]
        yield f"redirect {name} {port} to {redirect}"
        if back.pop(redirect, None) != port:
            yield f"no way back from {redirect} to {port}"
        if redirect not in dropped:
            yield f"no drop of {redirect}"
        dropped.discard(redirect)
    yield from (f"way back from {redirect} to {port}" for redirect, port in back.items())
    yield from (f"drop of {port}" for port in dropped)


def rule_text(family, rule):
    if "fwmark" in rule:
        what = f"mark {int(rule['fwmark'], 16)}"
    else:
        what = f"to {rule.get('dst')} port {rule.get('dport')}"
    return f"rule {family} {rule['priority']} {what} {rule.get('table')}"


def look(namespace):
    """One look at a namespace."""
    command = f"; echo '{END}'; ".join(f"{{ {listing} || exit 1; }}" for listing in LISTINGS)
    udp, udp6, ruleset, maps, *rest = namespace.run("sh", "-c", command).split(END + "\n")
    rules = [(family, rule) for family, listing in zip((4, 6), rest) for rule in
             json.loads(listing)]
    things = {*listeners(udp), *listeners(udp6), *redirects(json.loads(maps)["nftables"]),
              *(rule_text(family, rule) for family, rule in rules
                if rule.get("protocol") == PROTOCOL)}
    foreign = foreign_tables(ruleset) + [f"{family} {json.dumps(rule)}" for family, rule in rules
                                         if rule.get("protocol") != PROTOCOL]
    return Seen(frozenset(things), "\n".join([*foreign, *rest[2:]]))


def add_foreign(namespace, routing):
    """What others have beside the daemon: tables of the packet filter, routing rules, a route."""
    for line in ["add table inet filter",
                 "add chain inet filter in { type filter hook input priority 0; }",
                 "add rule inet filter in udp dport 161 accept comment \"managers\"",
                 "add map inet filter to { type ifname . inet_service : inet_service; }",
                 "add element inet filter to { eth1 . 161 : 60600 }",
                 "add table ip snmp", "add set ip snmp ports { type inet_service; }",
                 "add element ip snmp ports { 161, 60600 }"]:
        namespace.run("nft", line)
    for family in ("-4", "-6"):
        namespace.ip(family, "rule", "add", "fwmark", "0x77", "lookup", str(routing), "priority",
                     "1500", "protocol", "static")
    namespace.ip("rule", "add", "to", "203.0.113.77", "ipproto", "udp", "dport", "162", "lookup",
                 str(routing), "priority", "1400", "protocol", "176")
    namespace.ip("route", "add", "10.77.0.0/16", "dev", "eth0", "table", "77")
