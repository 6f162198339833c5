"""Opens the launcher with the demo's releases, which come from a web server on this computer at a
limited speed. Without a display, it uses the launcher on a virtual one as a player would: a check that
fails, a check, an update, and the game. It prints the texts of the window, saves a picture of every
state, and prints the log at the end.

    walkthrough.py BUNDLE WEB_FOLDER FOLDER PICTURES [ARGUMENT...]    arguments of the launcher
"""

import os
import shutil
import subprocess
import sys
import tempfile
import time
from pathlib import Path

sys.path.insert(0, str(Path(__file__).resolve().parents[1] / "tests/desktop"))
from desktop import Desktop, wait_until
from web_server import WebServer, point_to

SPEED = 700  # kilobytes per second; slow enough to see the bar move


def show(launcher, pictures, name, **wanted):
    look = launcher.wait_for(**wanted)
    launcher.take_picture(pictures / f"{name}.png")
    bar = "" if look.progress is None else "  [busy]" if look.busy else f"  [{look.progress:.0f} %]"
    print(f"{name:12} {look.status} | {look.version} | {look.button}{bar} | {look.footer}")
    return look


def hold_back(script):
    """Makes the check wait until the returned function is called, so that there is time for a picture.
    A named pipe in place of the script blocks the interpreter."""
    aside = script.rename(script.with_suffix(".aside"))
    os.mkfifo(script)

    def release():
        script.write_bytes(aside.read_bytes())
        aside.rename(script)

    return release


def wait_for_bar(launcher):
    wait_until(lambda: (look := launcher.look()) and (look.progress or 0) > 40, "a moving bar")


def open_on_display(bundle, home, *arguments):
    """Opens the launcher. Returns after the end of this launcher and of each launcher that it started."""
    home.mkdir(parents=True, exist_ok=True)
    program = bundle / "Contents/Linux/tarvex-launcher"
    status = subprocess.call([program, *arguments], env={**os.environ, "HOME": str(home)})
    while any(is_run_by(process, bundle) for process in Path("/proc").glob("[0-9]*")):
        time.sleep(0.5)
    return status


def is_run_by(process, bundle):
    try:
        return str(process.joinpath("exe").readlink()).startswith(f"{bundle}/")
    except OSError:
        return False


def walk(bundle, address, pictures, *arguments):
    shutil.rmtree(pictures, ignore_errors=True)
    pictures.mkdir(parents=True)
    with tempfile.TemporaryDirectory() as home, Desktop() as desktop:
        point_to(bundle, address + "missing")
        release_check = hold_back(bundle / "Contents/Resources/client_updater.py")
        with desktop.launch(bundle, Path(home), *arguments, "--", "--seconds", "2") as launcher:
            show(launcher, pictures, "1-checking", button="Checking…")
            release_check()
            show(launcher, pictures, "2-failed", button="Retry")
            point_to(bundle, address)
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


def main(built, web, folder, pictures, *arguments):
    # A copy, because its configuration is changed to name the server.
    bundle = folder / built.name
    shutil.rmtree(bundle, ignore_errors=True)
    shutil.copytree(built, bundle)
    with WebServer(web, rate=SPEED) as server:
        if not os.environ.get("DISPLAY") and not os.environ.get("WAYLAND_DISPLAY"):
            return walk(bundle, server.address, pictures, *arguments)
        point_to(bundle, server.address)
        return open_on_display(bundle, built.parent / "home", *arguments)


if __name__ == "__main__":
    sys.exit(main(*(Path(word).resolve() for word in sys.argv[1:5]), *sys.argv[5:]))
