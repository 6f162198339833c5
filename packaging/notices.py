"""Collects the licences of a bundle's libraries from their Debian packages.

    notices.py TARGET <PATHS

PATHS has the path of a library on each line. In TARGET, the program makes the list NOTICES, copies the
packages' copyright files, and copies the licences to which these refer into common/. It prints a line
for each library without a known licence, and then exits with 1.
"""

import re
import subprocess
import sys
from pathlib import Path
from typing import NamedTuple

COMMON = Path("/usr/share/common-licenses")
HEADERS = {"nlohmann-json3-dev": ["(a part of the programs)"]}  # compiled into the programs
HEAD = """\
The libraries in this package come from Debian. Except for “a part of the programs”, each is a file
of its own and can be replaced by another version. This list names the licence of most of each library.
The text beside the list names the licences of its other parts, and the copyright holders. The source is
Debian's source package.
"""
# By source package, for copyright files without “Files: *”, or whose “Files: *” describes other parts.
STATED = {
    "fontconfig": "HPND-sell-variant",
    r"gcc-\d+": "GPL-3+ with GCC-exception-3.1",
    "libice|libsm|libx11|libxau|libxcb|libxdmcp|libxkbcommon": "MIT",
    "util-linux": "BSD-3-clause",  # the licence of libuuid
}


class Package(NamedTuple):
    version: str
    source: str
    source_version: str
    homepage: str


def query(*arguments):
    run = subprocess.run(["dpkg-query", *arguments], stdout=subprocess.PIPE,
                         stderr=subprocess.DEVNULL)
    return run.stdout.decode().splitlines()


def owners(paths):
    """The libraries' names by package; the key None has libraries without a package."""
    # /lib and /usr/lib are the same folder. Debian's list uses both names.
    patterns = ["*" + path.removeprefix("/usr") for path in paths]
    found = {}
    for line in query("--search", *patterns):
        names, _, path = line.rpartition(": ")
        found[path.removeprefix("/usr")] = names.split(":")[0]
    libraries = {}
    for path in paths:
        libraries.setdefault(found.get(path.removeprefix("/usr")), []).append(Path(path).name)
    return libraries


def describe(packages):
    fields = "${Package}\t${Version}\t${source:Package}\t${source:Version}\t${Homepage}\n"
    lines = query("--show", "--showformat", fields, *packages)
    return {name: Package(*rest) for name, *rest in (line.split("\t") for line in lines)}


def licence_of(copyright, source):
    """The licence's short name; None when it is not found."""
    for form, licence in STATED.items():
        if re.fullmatch(form, source):
            return licence
    for paragraph in re.split(r"\n\s*\n", copyright):
        if re.search(r"^Files:\s*\*\s*$", paragraph, re.M):
            if licence := re.search(r"^License:[ \t]*(\S.*)", paragraph, re.M):
                return licence[1].strip()
    return None


def common_licences(copyright):
    names = re.findall(rf"{COMMON}/([A-Za-z0-9.+-]+)", copyright)
    return {name.rstrip(".") for name in names}


def collect(paths, target, documents=Path("/usr/share/doc")):
    """Returns the faults."""
    libraries = owners(paths)
    faults = [f"{name} belongs to no package, so its licence is not known"
              for name in libraries.pop(None, [])]
    target.mkdir(parents=True, exist_ok=True)
    libraries.update(HEADERS)
    notices, texts, common = [], {}, set()
    for package, described in sorted(describe(libraries).items()):
        try:
            copyright = (documents / package / "copyright").read_text(errors="replace")
        except OSError as error:
            faults.append(f"{package} has no copyright file: {error}")
            continue
        licence = licence_of(copyright, described.source)
        if licence is None:
            faults.append(f"{package}: the copyright file does not tell the licence")
            continue
        common |= common_licences(copyright)
        text = texts.setdefault(copyright, f"{package}.txt")  # packages of one source share theirs
        source = f"{described.source} {described.source_version} {described.homepage}".strip()
        names = ", ".join(sorted(libraries[package]))
        notices.append(f"{package} {described.version}\n  Files:   {names}\n"
                       f"  Licence: {licence}\n  Text:    {text}\n  Source:  {source}\n")
    for copyright, name in texts.items():
        (target / name).write_text(copyright)
    (target / "common").mkdir(exist_ok=True)
    for name in sorted(common):
        (target / "common" / name).write_bytes((COMMON / name).read_bytes())
    (target / "NOTICES").write_text("\n".join([HEAD, *notices]))
    return faults


if __name__ == "__main__":
    faults = collect(sys.stdin.read().splitlines(), Path(sys.argv[1]))
    print("".join(f"{fault}\n" for fault in faults), end="")
    sys.exit(1 if faults else 0)
