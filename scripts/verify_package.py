"""Tries a packaged launcher as a player would whose machine has no Qt: installs it without root in
a bare Debian, starts it on a virtual desktop from outside, has it check and update, and takes it out
again.

Runs as the player, whose home folder in that Debian holds the archive, with one privilege of root's:
to enter the Debian's folder.
"""

import os
import shlex
import subprocess
import sys
from pathlib import Path

from desktop import Desktop, wait_until

DEBIAN = Path("/mnt")
HOME = Path("/home/player")


def enter():
    os.chroot(DEBIAN)
    os.chdir("/")


def as_player(*command):
    subprocess.run(command, preexec_fn=enter, check=True,
                   env={"HOME": str(HOME), "PATH": "/usr/bin:/bin"})


def main():
    home = Path(f"{DEBIAN}{HOME}")
    found = [str(path) for path in DEBIAN.glob("usr/lib/**/libQt*")]
    if found:
        sys.exit(f"There is a Qt in {DEBIAN}: {found}")

    as_player("sh", "-ec", "cd; tar -xf *.tar.xz; sh */install.sh; rm -r tarvex-launcher-*")
    entry = home / ".local/share/applications/com.tarvex.launcher.desktop"
    subprocess.run(["desktop-file-validate", entry], check=True)
    [program] = [Path(shlex.split(line[len("Exec="):])[0])
                 for line in entry.read_text().splitlines() if line.startswith("Exec=")]
    bundle = program.parents[2]

    with Desktop() as desktop:
        with desktop.launch(bundle, HOME, preexec_fn=enter) as launcher:
            print("check:   ", launcher.wait_for(button="Update").status)
            maps = Path(f"/proc/{launcher.process.pid}/maps").read_text().splitlines()
            libraries = sorted({Path(line.split(maxsplit=5)[5]) for line in maps if ".so" in line})
            print("machine's:", *(library.name for library in libraries
                                  if str(bundle) not in str(library)))
            launcher.click("push button", "Update")
            wait_until(lambda: (look := launcher.look()) and (look.progress or 0) > 40,
                       "a moving bar")
            print("update:  ", launcher.wait_for(button="Play").status)
            launcher.press("ctrl+q")
            status = launcher.process.wait(timeout=30)
            print("quit:     exit status", status)
            print(open(home / launcher.log.relative_to(HOME)).read())

    as_player("sh", HOME / ".local/share/tarvex-launcher/install.sh", "--uninstall")
    left = [str(path) for path in (home / ".local/share").rglob("*tarvex*")]
    if left or status != 0:
        sys.exit(f"left behind: {left}, exit status {status}")


if __name__ == "__main__":
    main()
