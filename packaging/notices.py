"""Collects the licences of the libraries in a bundle, from the Debian packages that they come from.

    notices.py TARGET <PATHS

reads the libraries' paths on this machine, a line each, and makes in TARGET the list NOTICES, the
packages' copyright files, and the licences that these refer to, in common/. Prints a line for each
library without a licence, and exits with 1 if there is one.
"""

import re
import subprocess
import sys
from pathlib import Path
from typing import NamedTuple

COMMON = Path("/usr/share/common-licenses")
HEADERS = {"nlohmann-json3-dev": ["(a part of the programs)"]}  # libraries without a file
HEAD = """\
The libraries in this package come from Debian. Each is a file of its own and can be replaced by another
version. The licence is that of most of the library; the text beside this list has those of parts, and
the holders of the rights. The source is Debian's source package.
"""
STATED = {  # by source package, where the copyright file has no “Files: *”, or means other parts by it
    "fontconfig": "HPND-sell-variant",
    r"gcc-\d+": "GPL-3+ with GCC-exception-3.1",
    "libice|libsm|libx11|libxau|libxcb|libxdmcp|libxkbcommon": "MIT",
    "util-linux": "BSD-3-clause",  # of it, libuuid
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
    """The packages and the names of their libraries; those that no package has are under None."""
    # /lib and /usr/lib are one folder, which Debian's list has under either name.
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
    """In a word; None when that cannot be told."""
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
