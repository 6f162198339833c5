"""Tries a package of the demo in a minimal Debian without Qt, as an unprivileged player: installs it, lets
it check, update itself and the client, plays, opens it on Wayland, too, and uninstalls it.

    verify.py DEBIAN ARCHIVE WEB_FOLDER

The virtual desktop and the web server with the signed releases run outside the Debian. The program runs
as the player, but may use chroot to enter DEBIAN. ARCHIVE is a path inside the Debian.
"""

import os
import shlex
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

ROOT = Path(__file__).resolve().parents[1]
sys.path += [str(ROOT / "demo"), str(ROOT / "tests/desktop")]

from desktop import Desktop, wait_until
from self_update import offer_newer
from web_server import WebServer, point_to

HOME = Path("/home/player")


def lend_libraries(game, contents):
    """Makes the demo's game use the launcher's Qt, the only one in this Debian. The file keeps its size,
    because the updater would take another size for damage."""
    real = game.rename(game.with_name("real-game"))
    script = f'''#!/bin/sh
export LD_LIBRARY_PATH="{contents}/Frameworks" QT_PLUGIN_PATH="{contents}/PlugIns"
exec "${{0%/*}}/{real.name}" "$@"
'''
    game.write_text(script.ljust(real.stat().st_size, "#"))
    game.chmod(0o755)


def main(debian, archive, web):
    def outside(path):
        return debian / path.relative_to("/")

    def enter():
        os.chroot(debian)
        os.chdir("/")

    def as_player(*command):
        subprocess.run(command, preexec_fn=enter, check=True,
                       env={"HOME": str(HOME), "PATH": "/usr/bin:/bin"})

    def say(what, text):
        print(f"{what:12} {text}", flush=True)

    def libraries(launcher):
        lines = Path(f"/proc/{launcher.process.pid}/maps").read_text().splitlines()
        return sorted({Path(line.split(maxsplit=5)[5]) for line in lines if ".so" in line})

    if found := [str(path) for path in debian.glob("usr/lib/**/libQt*")]:
        sys.exit(f"There is a Qt in {debian}: {found}")
    as_player("sh", "-ec", 'cd; tar -xf "$1"; sh */install.sh; rm -r tarvex-launcher-*', "sh", archive)
    data = HOME / ".local/share"
    entry = outside(data / "applications/com.tarvex.launcher.desktop")
    subprocess.run(["desktop-file-validate", entry], check=True)
    [command] = [line for line in entry.read_text().splitlines() if line.startswith("Exec=")]
    bundle = Path(shlex.split(command.removeprefix("Exec="))[0]).parents[2]

    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop, \
            WebServer(Path(folder)) as server:
        secret, public = Path(folder, "secret"), Path(folder, "public")
        subprocess.run(["minisign", "-G", "-W", "-s", secret, "-p", public], check=True)
        shutil.copytree(web, server.folder / "web")
        point_to(outside(bundle), server.address + "web", publicKey=public.read_text().split()[-1])
        offer_newer(outside(bundle), server.folder / "web", "--key", secret)
        with desktop.launch(bundle, HOME, "--", "--seconds", "1", preexec_fn=enter) as old:
            say("check", old.wait_for(button="Update").version)
            say("system's", " ".join(path.name for path in libraries(old)
                                     if str(bundle) not in str(path)))
            old.click("push button", "Update")
            new = old.successor()
            say("ended", f"with the start of the new one, exit status {old.process.wait(30)}")
        with new:
            say("update", new.wait_for(button="Play").footer)
            retired = outside(bundle.with_name(bundle.name + ".old"))
            wait_until(lambda: not retired.exists(), "the retired bundle to be removed")
            [game] = outside(HOME).glob("Library/**/tarvex-game")
            lend_libraries(game, bundle / "Contents")
            new.click("push button", "Play")
            wait_until(lambda: new.window() is None, "the window to hide for the game")
            if new.process.wait(30) is None:
                sys.exit(f"The game has failed:\n{outside(new.log).read_text()}")
            say("play", "ended with the game")

        with desktop.wayland() as environment, desktop.launch(
                bundle, HOME, environment=environment, preexec_fn=enter) as launcher:
            say("Wayland", launcher.wait_for(button="Play").status)
            launcher.activate("push button", "Close")  # of its own title bar
            say("quit", f"exit status {launcher.process.wait(30)}")

    as_player("sh", data / "tarvex-launcher/install.sh", "--uninstall")
    if left := [str(path) for path in outside(data).rglob("*tarvex*")]:
        sys.exit(f"left behind: {left}")


if __name__ == "__main__":
    main(*map(Path, sys.argv[1:]))
