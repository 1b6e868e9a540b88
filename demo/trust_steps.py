"""Steps of the tour: repair, state, and a sudden end."""

from agent_steps import MOVED
from lab import snmp
from lab.site import BLUE
from lab.wait import wait_until


def kernel_of(site):
    return site.redirects(), site.mark_rules(), site.destination_rules()


def repair(tour):
    tour.screen.step("Somebody else clears the kernel's rules", """Redirects are in a table that
        belongs to the daemon, and stay; routing rules are put back. Watch for the one record that
        tells how many.""")
    before = kernel_of(tour.site)
    since = tour.daemon.mark()
    for command in ("nft flush ruleset", "ip rule flush protocol 175"):
        tour.screen.typed("router#", command)
        tour.site.router.run(*command.split())
    tour.screen.expect("all of it is there again, within a second", lambda: wait_until(
        lambda: kernel_of(tour.site) == before, "the rules from before", seconds=1.0))
    tour.screen.expect("told once", tour.record("routing rules that somebody else had removed",
                                                since))


def state(tour):
    tour.screen.step("What the daemon is doing", """One table of all that it keeps; "why not" says
        what is missing where something is.""")
    table = tour.show_state()
    tour.screen.expect("listeners, redirects and targets are told", lambda: all(
        text in table for text in (f"{MOVED}:161", "l3-eth2", "noc")))


def sudden_end(tour):
    tour.screen.step("The daemon is killed, and started again", """The last commit is in the stored
        configuration, whole.""")
    before = kernel_of(tour.site)
    tour.screen.typed("router#", f"kill -9 {tour.daemon.process.pid}")
    tour.daemon.kill()
    tour.screen.expect("the redirects went with the process", lambda: tour.site.redirects() == [])
    tour.daemon.start()
    tour.screen.expect("the kernel is as before", lambda: wait_until(
        lambda: kernel_of(tour.site) == before, "the rules from before"))
    for network, address in (("default", MOVED), ("blue", BLUE)):
        tour.screen.expect(f"{network} asks {address}", lambda network=network, address=address:
                           wait_until(lambda: snmp.answers(tour.site.managers[network], address),
                                      f"an answer of {address}"))
