"""The files of installed packages and of all that they depend on."""

import os
import re
import subprocess
import sys

FIELDS = ("binary:Package", "Package", "db:Status-Status", "Provides", "Depends", "Pre-Depends",
          "Version")
# Packages that install or run a whole system: nothing that is copied here needs them to work.
LEFT_OUT = re.compile(r"adduser|debconf.*|dpkg|init-system-helpers|login|lsb-base|passwd|"
                      r"perl-modules-.*|sysvinit-utils|systemd.*|ucf|udev")
UNUSED = re.compile(r"/usr/share/(doc|man|info|locale|i18n|lintian|bug|bash-completion|zoneinfo)/|"
                    r"/usr/lib/[^/]+/(gconv|perl)/|/etc/(init\.d|cron|systemd)|"
                    r"/usr/lib/(systemd|python3[^/]*/(test|idlelib|lib2to3|ensurepip))/")


class Packages:
    """What the package manager says of this machine."""

    def __init__(self):
        text = subprocess.run(
            ["dpkg-query", "-W", "-f", "\t".join("${%s}" % name for name in FIELDS) + "\n"],
            stdout=subprocess.PIPE, text=True, check=True).stdout
        self._found = {}
        for line in text.splitlines():
            package = dict(zip(FIELDS, line.split("\t")))
            if package["db:Status-Status"] == "installed":
                for name in (package["binary:Package"], package["Package"],
                             *names_of(package["Provides"])):
                    self._found.setdefault(name, package)

    def closure(self, roots):
        """These packages and all that they depend on, as NAME=VERSION in order. A root that is not
        installed is a KeyError; of alternatives all that are installed count."""
        todo, seen = [self._found[name] for name in roots], {}
        while todo:
            package = todo.pop()
            name = package["binary:Package"]
            if name in seen or LEFT_OUT.fullmatch(package["Package"]):
                continue
            seen[name] = package["Version"]
            todo += [self._found[other]
                     for other in names_of(package["Depends"], package["Pre-Depends"])
                     if other in self._found]
        return [f"{name}={version}" for name, version in sorted(seen.items())]


def libraries_of(programs):
    """The packages with the libraries that these programs load."""
    loaded = set()
    for program in programs:
        said = subprocess.run(["ldd", program], stdout=subprocess.PIPE, text=True, check=True)
        loaded |= set(re.findall(r"=> (/\S+)", said.stdout))
    # A library is known by the path of its package, which may lead through a link to a folder.
    paths = {other for path in loaded for other in (path, os.path.realpath(path))}
    said = subprocess.run(["dpkg-query", "-S", *sorted(paths)], stdout=subprocess.PIPE,
                          stderr=subprocess.DEVNULL, text=True, check=False).stdout
    return sorted({line.partition(": ")[0] for line in said.splitlines()})


def names_of(*lists):
    """The names in relations of packages (deb-control(5))."""
    words = re.split(r"[,|]", ",".join(lists))
    return [re.match(r"[^ (:]+", word.strip())[0] for word in words if word.strip()]


def files_of(packages):
    """The paths of the packages' files as they lie here, without what only people read; with what
    Python compiled of them, and with the alternatives that lead to them."""
    listing = subprocess.run(["dpkg-query", "-L", *(name.partition("=")[0] for name in packages)],
                             stdout=subprocess.PIPE, text=True, check=True).stdout
    found = {real_place(path) for path in set(listing.splitlines())
             if path.startswith("/") and os.path.lexists(path) and not UNUSED.match(path + "/")}
    for path in list(found):
        if path.endswith(".py"):
            found.add(compiled(path))
        elif os.path.islink(path):
            found.add(os.path.realpath(path))
    for entry in os.scandir("/etc/alternatives"):
        if os.path.realpath(entry.path) in found:
            found.add(entry.path)
    return sorted(path for path in found if os.path.lexists(path))


def real_place(path):
    """The path with the links among its folders resolved: /bin is in /usr."""
    return os.path.join(os.path.realpath(os.path.dirname(path)), os.path.basename(path))


def compiled(path):
    folder, name = os.path.split(path)
    return f"{folder}/__pycache__/{name[:-3]}.{sys.implementation.cache_tag}.pyc"
