"""What operators change in these tests: configurations of the site, and the edits between them."""

from dataclasses import dataclass, field

from lab.daemon import configuration, listening, merged, targets, transport_address
from lab.site import DEFAULT, TABLES

from .oracle import ANY, agent_of, at, endpoint, rows_of

VRFS = {"eth1": "red", "eth2": "blue"}
MIB = "SNMP-TARGET-MIB:SNMP-TARGET-MIB"
COMMUNITIES = "SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB"


@dataclass(frozen=True)
class Settings:
    """A configuration of the site."""

    port: int = 161
    extra: frozenset = frozenset()  # further ports of the agent's address
    listens: frozenset = frozenset()  # interface, port
    targets: frozenset = frozenset()  # name, address, port, VRF
    communities: frozenset = field(default_factory=lambda: frozenset({"public"}))

    def startup(self):
        """As a start-up file has it."""
        return merged(
            configuration(DEFAULT, [f"{DEFAULT}:{port}" for port in sorted(self.extra)],
                          port=self.port, communities=sorted(self.communities)),
            listening(dict(self.listens), VRFS, TABLES),
            targets({name: rest for name, *rest in sorted(self.targets)}, TABLES))


def settings_of(content):
    """The settings that a stored configuration is whole with. Raises ValueError for one that is
    not: an entry of the daemon's own without what it belongs to, or the other way round."""
    agent = agent_of(content)
    extra = {endpoint(text) for text in agent.get("extraIpPorts", [])}
    redirects = {(ANY, row["redir-port"]) for row in rows_of(content)}
    if not redirects <= extra or any(address == ANY for address, _ in extra - redirects):
        raise ValueError(f"redirect ports {sorted(redirects)}, but extra entries {sorted(extra)}")
    plain = {(row["name"], row["ip"], row["udp-port"], row.get("vrf"))
             for row in at(content, "snmp:snmp", "target", otherwise=[])}
    addresses = {entry["snmpTargetAddrName"]: entry["snmpTargetAddrTAddress"] for entry in
                 at(content, MIB, "snmpTargetAddrTable", "snmpTargetAddrEntry", otherwise=[])}
    if addresses != {name: transport_address(ip, port) for name, ip, port, _ in plain}:
        raise ValueError(f"targets {sorted(plain)}, but rows of the MIB {addresses}")
    return Settings(
        agent.get("port", 161), frozenset(port for _, port in extra - redirects),
        frozenset((row["name"].removeprefix("l3-"), row["udp-port"]) for row in rows_of(content)),
        frozenset(plain),
        frozenset(entry["snmpCommunityName"] for entry in
                  at(content, COMMUNITIES, "snmpCommunityTable", "snmpCommunityEntry",
                     otherwise=[])))


def element(name, *content, remove=False):
    return f'<{name}{" nc:operation=" + chr(34) + "remove" + chr(34) if remove else ""}>' + \
        "".join(content) + f"</{name}>"


def leaves(**values):
    return "".join(element(name.replace("_", "-"), str(value)) for name, value in values.items()
                   if value is not None)


def changed(before, after, entry):
    """The XML of what is gone and of what is new; `entry` makes that of one thing."""
    return "".join(entry(thing, True) for thing in sorted(before - after)) + \
        "".join(entry(thing, False) for thing in sorted(after - before))


def extra_entry(port, remove):
    return element("extraIpPorts", f"{DEFAULT}:{port}", remove=remove)


def listen_entry(listen, remove):
    name, port = listen
    return element("interface", leaves(name=f"l3-{name}", udp_port=None if remove else port),
                   remove=remove)


def target_entry(target, remove):
    name, ip, port, vrf = target
    content = "" if remove else leaves(ip=ip, udp_port=port, vrf=vrf)
    return element("target", leaves(name=name), content, remove=remove)


def address_entry(target, remove):
    name, ip, port, _ = target
    content = "" if remove else leaves(
        snmpTargetAddrTAddress=transport_address(ip, port), snmpTargetAddrParams="v2c")
    return element("snmpTargetAddrEntry", leaves(snmpTargetAddrName=name), content, remove=remove)


def community_entry(name, remove):
    content = "" if remove else leaves(snmpCommunityName=name, snmpCommunitySecurityName=name)
    return element("snmpCommunityEntry", leaves(snmpCommunityIndex=name), content, remove=remove)


def edit(before, after):
    """The content of an edit that leads from one to the other."""
    agent = leaves(port=after.port) + changed(before.extra, after.extra, extra_entry)
    listens = changed(before.listens, after.listens, listen_entry)
    return (
        f'<confdConfig xmlns="urn:snmp-app:dyncfg"><snmpAgent>{agent}</snmpAgent></confdConfig>'
        f'<snmp xmlns="urn:snmp-app:snmp"><agent><listen>{listens}</listen></agent>'
        f'{changed(before.targets, after.targets, target_entry)}</snmp>'
        '<SNMP-TARGET-MIB xmlns="urn:snmp-app:target"><snmpTargetAddrTable>'
        f'{changed(before.targets, after.targets, address_entry)}'
        '</snmpTargetAddrTable></SNMP-TARGET-MIB>'
        '<SNMP-COMMUNITY-MIB xmlns="urn:snmp-app:community"><snmpCommunityTable>'
        f'{changed(before.communities, after.communities, community_entry)}'
        '</snmpCommunityTable></SNMP-COMMUNITY-MIB>')


# A commit from one to the other creates, changes and removes something of each kind.
OLD = Settings(161, frozenset({1161}), frozenset({("eth1", 161)}),
               frozenset({("a", "203.0.113.100", 162, "red"), ("c", "192.0.2.100", 162, "blue")}),
               frozenset({"public", "old"}))
NEW = Settings(1162, frozenset({1163}), frozenset({("eth2", 161)}),
               frozenset({("b", "192.0.2.100", 163, "blue"), ("c", "192.0.2.100", 164, "blue")}),
               frozenset({"public", "new"}))
OTHER = {OLD: NEW, NEW: OLD}


def numbered(number):
    """The settings of a commit in a row of many: each of its parts tells the number."""
    return Settings(
        1000 + number % 20000, frozenset(),
        frozenset((name, 2000 + number % 20000) for name in VRFS),
        frozenset({("t", "203.0.113.100", 1 + number % 20000, "red")}),
        frozenset({"public", f"n{number}"}))


# What searches of these tests look for.
XPATH = '<filter type="xpath" xmlns:s="urn:snmp-app:snmp" select="//s:interface | //s:target"/>'
