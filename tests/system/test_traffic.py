"""Requests under way while listeners change."""

from lab import snmp
from lab.daemon import configuration
from lab.load import Load

ADDRESS, OTHER = "198.51.100.1", "198.51.100.2"
REBINDS = 50


def test_unchanged_listener_loses_nothing_during_rebinds(daemon, router, manager, capsys):
    router.add_address("eth1", f"{OTHER}/24")
    daemon.level = "progress"
    daemon.write_startup(configuration(ADDRESS, [f"{OTHER}:2000"]))
    daemon.start()
    assert snmp.get(manager, ADDRESS)
    with Load(manager, ADDRESS, rate=1000) as load:
        for number in range(1, REBINDS + 1):
            since = daemon.reload(configuration(ADDRESS, [f"{OTHER}:{2000 + number}"]))
            daemon.wait_record("Forced ConfD's bind of SNMP, returned 0", since)
        counts = load.finish()
    with capsys.disabled():
        print(f"\n{counts['sent']} requests in {counts['seconds']:.1f} s during {REBINDS} rebinds "
              f"of another listener: {counts['lost']} lost")
    assert counts["sent"] > 1500
    assert counts["lost"] == 0
    assert snmp.get(manager, OTHER, port=2000 + REBINDS)
