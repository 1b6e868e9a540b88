"""What a stored configuration asks for. Pure: nothing here looks at a machine."""

import ipaddress
from dataclasses import dataclass

ANY, ANY_V6 = "0.0.0.0", "::"
MARK_PRIORITY, TARGET_PRIORITY = 1500, 1400
OWN_PREFIX = "l3-"
# With more the rules of targets are laid out in blocks.
MOST_PLAIN_TARGETS = 16


@dataclass(frozen=True)
class Wanted:
    """What the kernel has to have of the daemon, and whom its agent answers."""

    listeners: frozenset  # address, port
    redirects: frozenset  # kernel's name of the interface, port, redirect port
    rules: frozenset  # family, priority, what it is for, table
    communities: frozenset

    def things(self):
        """All that a kernel can be asked for, as texts."""
        return ({f"listener {address} {port}" for address, port in self.listeners} |
                {f"redirect {name} {port} to {redirect}"
                 for name, port, redirect in self.redirects} |
                {f"rule {' '.join(map(str, rule))}" for rule in self.rules})


def at(content, *path, otherwise=None):
    """What is at a path of a configuration; `otherwise` where nothing is."""
    for name in path:
        if name not in content:
            return {} if otherwise is None else otherwise
        content = content[name]
    return content


def agent_of(content):
    return at(content, "confd_dyncfg:confdConfig", "snmpAgent")


def rows_of(content):
    return at(content, "snmp:snmp", "agent", "listen", "interface", otherwise=[])


def endpoint(text):
    address, port = text.rsplit(":", 1)
    return str(ipaddress.ip_address(address.strip("[]"))), int(port)


def tables_of(content):
    """The routing table of each VRF."""
    entries = at(content, "metacli-internal:internal", "vrf-config", "stringTOindex", otherwise=[])
    return {entry["name"]: entry["vrf-idx"] for entry in entries}


def redirects_of(content):
    """Kernel's name, port, redirect port and routing table of each listening interface in a VRF."""
    l3 = {entry["name"]: entry
          for entry in at(content, "config:config", "interface", "l3", otherwise=[])}
    tables = tables_of(content)
    for row in rows_of(content):
        name = row["name"].removeprefix(OWN_PREFIX)
        interface = l3.get(name, {})
        if "vrf" in interface:
            yield (interface.get("kernel-name", name), row["udp-port"], row["redir-port"],
                   tables[interface["vrf"]])


def listeners_of(content):
    agent = agent_of(content)
    listeners = {endpoint(f"{agent.get('ip', ANY)}:{agent.get('port', 161)}")}
    listeners |= {endpoint(text) for text in agent.get("extraIpPorts", [])}
    ports = {redirect for _, _, redirect, _ in redirects_of(content)}
    return listeners | {(ANY_V6, port) for address, port in listeners
                        if address == ANY and port in ports}


def target_rules_of(content):
    tables = tables_of(content)
    rules = set()
    for target in at(content, "snmp:snmp", "target", otherwise=[]):
        if "vrf" in target and ":" not in target["ip"]:
            rules.add((4, TARGET_PRIORITY, f"to {target['ip']} port {target['udp-port']}",
                       tables[target["vrf"]]))
    if len(rules) > MOST_PLAIN_TARGETS:
        raise ValueError(f"{len(rules)} targets: this knows the plain list only")
    return rules


def wanted(content):
    """What a configuration, as `running.json` has it, asks for. None: there is none."""
    content = content or {}
    enabled = agent_of(content).get("enabled", False)
    redirects = list(redirects_of(content)) if enabled else []
    marks = {(family, MARK_PRIORITY, f"mark {table}", table)
             for *_, table in redirects for family in (4, 6)}
    communities = at(content, "SNMP-COMMUNITY-MIB:SNMP-COMMUNITY-MIB", "snmpCommunityTable",
                     "snmpCommunityEntry", otherwise=[])
    return Wanted(
        frozenset(listeners_of(content)) if enabled else frozenset(),
        frozenset((name, port, redirect) for name, port, redirect, _ in redirects),
        frozenset(marks | target_rules_of(content)),
        frozenset(entry["snmpCommunityName"] for entry in communities))


def differences(things, kernel):
    """What the kernel lacks and what it has besides, as texts; none where all is as wanted."""
    return sorted([f"lacks {thing}" for thing in things - kernel] +
                  [f"has besides {thing}" for thing in kernel - things])
