"""The pages of docs/ and the README tell the truth: their commands run as they are written, and
what they name is there."""

import glob
import json
import os
import re
import subprocess

import pytest

from lab.daemon import TREE
from lab.document import Command, commands, session
from lab.machines import Machines
from lab.wait import wait_until

# One story: the second page goes on where the first one ends.
OPERATION = [os.path.join(TREE, "docs", name) for name in ("operate.md", "maintain.md")]
# Its commands are run by tests/fleet.
FLEET = os.path.join(TREE, "docs/fleet.md")
README = os.path.join(TREE, "README.md")
needs_models = pytest.mark.skipif(
    not os.path.exists("/usr/share/yuma/modules/ietf/ietf-netconf@2011-06-01.yang"),
    reason="the IETF's models are missing (package libyuma-base)")
PAGES = sorted(glob.glob(os.path.join(TREE, "docs/*.md"))) + [README]


def page(*names):
    """The text of files of the tree."""
    texts = []
    for name in names:
        with open(os.path.join(TREE, name), encoding="utf-8") as file:
            texts.append(file.read())
    return "\n".join(texts)


@needs_models
def test_commands_do_what_the_pages_say(build, capsys):
    """The operators' pages as one story, any other page with commands as one of its own."""
    for story in [OPERATION] + [[path] for path in PAGES
                                if path not in (*OPERATION, FLEET)]:
        found = [command for path in story for command in commands(path)]
        assert story is not OPERATION or len(found) > 50
        if not found:
            continue
        with Machines(build) as machines:
            for command in found:
                machines.check(command)
        with capsys.disabled():
            print(f"\n{len(found)} commands of {', '.join(map(os.path.basename, story))} run")


@pytest.mark.parametrize("path", PAGES, ids=os.path.basename)
def test_relative_links_lead_to_files(path):
    links = re.findall(r"\]\(([^)#\s]*)(?:#[^)\s]*)?\)", page(path))
    relative = [link for link in links if link and "://" not in link]
    missing = [link for link in relative
               if not os.path.exists(os.path.join(os.path.dirname(path), link))]
    assert missing == []


@pytest.mark.parametrize("path", PAGES, ids=os.path.basename)
def test_links_to_headings_find_them(path):
    for name, anchor in re.findall(r"\]\(([^)#\s]*)#([^)\s]*)\)", page(path)):
        target = os.path.join(os.path.dirname(path), name) if name else path
        headings = re.findall(r"^#+ (.*)$", page(target), re.MULTILINE)
        anchors = [re.sub(r"[^\w -]", "", heading.lower()).replace(" ", "-")
                   for heading in headings]
        assert anchor in anchors, f"{path}: {name}#{anchor}"


def test_pages_are_reached_from_each_other():
    """Every page of docs/ is linked from another one."""
    for path in PAGES[:-1]:
        name = os.path.basename(path)
        others = page(*(other for other in PAGES if other != path))
        assert re.search(rf"\]\((docs/)?{re.escape(name)}[)#]", others), name


def test_folders_of_the_development_page_exist():
    rows = re.findall(r"^\| (`[^|]*/`) \|", page("docs/develop.md"), re.MULTILINE)
    named = [name.strip("`") for row in rows for name in row.split(", ")]
    assert len(named) > 20
    assert [name for name in named if not os.path.isdir(os.path.join(TREE, name))] == []


def test_presets_of_the_development_page_are_those_that_there_are():
    presets = json.loads(page("CMakePresets.json"))["configurePresets"]
    table = page("docs/develop.md").split("| preset |")[1].split("\n\n")[0]
    assert set(re.findall(r"^\| `([\w-]+)` \|", table, re.MULTILINE)) == {
        preset["name"] for preset in presets if not preset.get("hidden")}


def test_files_that_pages_name_exist():
    """What stands in backquotes and begins with a folder of the tree is there."""
    top = "|".join(re.escape(name) for name in os.listdir(TREE) if name not in ("build", ".git"))
    for path in PAGES:
        for name in re.findall(rf"`((?:{top})/[\w@./-]+)`", page(path)):
            assert os.path.exists(os.path.join(TREE, name)), f"{path}: {name}"


def test_headers_of_the_platform_are_described():
    text = page("docs/port.md")
    headers = [os.path.relpath(path, os.path.join(TREE, "platform/api")) for path in
               glob.glob(os.path.join(TREE, "platform/api/**/*.h"), recursive=True)]
    assert len(headers) > 10
    assert [name for name in headers if f"| `{name}` |" not in text] == []


def test_environment_of_the_daemon_is_described():
    sources = glob.glob(os.path.join(TREE, "platform/host/**/*.cpp"), recursive=True)
    read = set(re.findall(r'(?:getenv|FirstOf)\("(\w+)"', page(*sources)))
    assert {"SNMP_APP_LOG_LEVEL", "STATE_DIRECTORY"} <= read
    text = page("packaging/man/snmp-app.8").split(".SH ENVIRONMENT")[1].split(".SH ")[0]
    assert [name for name in sorted(read) if name not in text.split()] == []


@pytest.mark.parametrize("printed,output,same", [
    ((), "", True),
    ((), "something\n", False),
    (("one",), "", False),
    (("one",), "one\n", True),
    (("one",), "one\ntwo\n", False),
    (("one",), "one and more\n", False),
    (("one  two",), "  one two \n", True),
    (("one ... three",), "one two three\n", True),
    (("one ...",), "two one\n", False),
    (("...", "two"), "zero\none\ntwo\n", True),
    (("...", "two"), "two\n", True),
    (("one", "..."), "one\n", True),
    (("one", "...", "two"), "one\ntwo\nthree\n", False),
    (("a.c",), "abc\n", False),
    (("one", "", "two"), "one\ntwo\n", False),
])
def test_output_is_compared(printed, output, same):
    command = Command("page.md:1", "router", "true", [], list(printed))
    assert command.is_printed_by(output) is same


def test_sessions_are_read():
    first, second = session("page.md", 10, ["wait"], [
        "router# cat >file <<'END'", "> text", ">", "> END", "red$ cat file", "> is printed"])
    assert (first.place, first.host, first.text, first.printed) == (
        "page.md:10", "router", "cat >file <<'END'\ntext\n\nEND", [])
    assert (second.place, second.host, second.text, second.kinds) == (
        "page.md:14", "red", "cat file\nis printed", ["wait"])
    with pytest.raises(ValueError, match="page.md:3"):
        session("page.md", 3, [], ["no prompt"])
    with pytest.raises(ValueError, match="page.md:3.*waits"):
        session("page.md", 3, ["waits"], ["router# true"])


def test_machines_leave_nothing(build):
    def traces():
        with open("/proc/self/mounts", encoding="ascii") as file:
            mounts = [line for line in file if " /run/netns " not in line]
        # mount(8) keeps a folder of its own.
        return [mounts, set(os.listdir("/run")) - {"mount"}, os.listdir("/run/netns"),
                os.path.exists("/etc/snmp-app"), glob.glob("/tmp/snmp-app-document-*"),
                glob.glob("/tmp/snmp-app-files-*")]

    before = traces()
    with pytest.raises(AssertionError, match=r"page.md:1: false\nended with status 1"):
        with Machines(build) as machines:
            machines.shell("echo >/etc/snmp-app/startup.json")
            machines.check(Command("page.md:1", "router", "false", []))
    assert traces() == before


def test_wrong_commands_fail(build):
    with Machines(build) as machines:
        machines.check(Command("page.md:1", "router", "echo one", [], ["one"]))
        for text, kinds, printed in (("echo one", [], ["two"]), ("echo one", ["fails"], ["one"]),
                                     ("echo one; false", [], ["one"]), ("echo one", [], []),
                                     ("systemctl dance snmp-app", [], ["..."]),
                                     ("touch /usr/page", [], [])):
            with pytest.raises(AssertionError):
                machines.check(Command("page.md:2", "router", text, kinds, printed))
        assert not os.path.exists("/usr/page")


def test_commands_that_hang_are_ended(build):
    with Machines(build) as machines:
        with pytest.raises(subprocess.TimeoutExpired):
            machines.run("router", "sleep 1000 & echo $! >/run/hanging; wait", seconds=1)
        with open("/run/hanging", encoding="ascii") as file:
            status = f"/proc/{file.read().strip()}/status"
        os.remove("/run/hanging")

        def has_ended():
            try:
                with open(status, encoding="ascii") as file:
                    return "State:\tZ" in file.read()
            except OSError:
                return True

        wait_until(has_ended, "the end of the command's own process")
