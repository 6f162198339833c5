"""Uses the launcher with the demo release as a player would, on a virtual desktop: a check that
fails, a check, an update, and the game. Prints what the window shows, leaves a picture of every
state, and ends with the log."""

import os
import shutil
import sys
import tempfile
from pathlib import Path

from desktop import Desktop, wait_until


def show(launcher, pictures, name, **wanted):
    look = launcher.wait_for(**wanted)
    launcher.take_picture(pictures / f"{name}.png")
    bar = "" if look.progress is None else "  [busy]" if look.busy else f"  [{look.progress:.0f} %]"
    print(f"{name:12} {look.status} | {look.version} | {look.button}{bar} | {look.footer}")
    return look


def hold_back(script):
    """A check may be over before its picture is taken. So the interpreter waits for its script,
    until the function that this one returns is called."""
    aside = script.rename(script.with_suffix(".aside"))
    os.mkfifo(script)

    def release():
        script.write_bytes(aside.read_bytes())
        aside.rename(script)

    return release


def wait_for_bar(launcher):
    wait_until(lambda: (look := launcher.look()) and (look.progress or 0) > 40, "a moving bar")


def main(bundle, pictures, *arguments):
    shutil.rmtree(pictures, ignore_errors=True)
    pictures.mkdir(parents=True)
    with tempfile.TemporaryDirectory() as folder, Desktop() as desktop:
        # A copy, because it loses its releases for a while.
        copy = Path(folder) / bundle.name
        shutil.copytree(bundle, copy)
        releases = copy / "Contents/Resources/releases"
        away = releases.rename(folder / Path("releases"))
        home = Path(folder) / "home"
        home.mkdir()
        release_check = hold_back(copy / "Contents/Resources/client_updater.py")
        with desktop.launch(copy, home, *arguments, "--", "--seconds", "2") as launcher:
            show(launcher, pictures, "1-checking", button="Checking…")
            release_check()
            show(launcher, pictures, "2-failed", button="Retry")
            away.rename(releases)
            launcher.press("Return")
            show(launcher, pictures, "3-available", button="Update")
            launcher.click("push button", "Update")
            wait_for_bar(launcher)
            show(launcher, pictures, "4-updating", button="Updating…")
            show(launcher, pictures, "5-ready", button="Play")
            launcher.click("push button", "Play")
            show(launcher, pictures, "6-starting", button="Starting…")
            wait_until(lambda: launcher.window() is None, "the window to hide for the game")
            print("hidden       while the game runs")
            status = launcher.process.wait(timeout=30)
            print(f"ended        with the game, exit status {status}")
            print("\nThe log:" + launcher.log.read_text())
    print(f"Pictures: {os.path.relpath(pictures)}/")
    return status


if __name__ == "__main__":
    sys.exit(main(Path(sys.argv[1]), Path(sys.argv[2]), *sys.argv[3:]))
