"""Shows an update of the launcher itself. Publishes BUNDLE as the newer launcher, together with the
demo's releases, and opens an older copy. Without a display, it uses the copy on a virtual one, prints the
texts of the windows, and saves pictures. In that case it first publishes a broken launcher, and shows that
the updater refuses it.

    self_update.py BUNDLE WEB_FOLDER FOLDER PICTURES [ARGUMENT...]    arguments of the launcher
"""

import os
import plistlib
import shutil
import subprocess
import sys
from pathlib import Path

from walkthrough import Desktop, SPEED, open_on_display, show, wait_for_bar, wait_until
from web_server import WebServer, point_to

OLD, NEW, BROKEN = "a" * 16, "b" * 16, "c" * 16
PUBLISH = Path(__file__).resolve().parents[1] / "client-updater/publish.py"


def set_version(bundle, version):
    information = bundle / "Contents/Info.plist"
    properties = plistlib.loads(information.read_bytes())
    information.write_bytes(plistlib.dumps({**properties, "CFBundleVersion": version}))


def offer(bundle, version, web, *options):
    set_version(bundle, version)
    subprocess.run(["/usr/bin/python3", PUBLISH, "--launcher", bundle, "--to", web, *options],
                   check=True)


def offer_newer(bundle, web, *options):
    """Publishes the bundle as the newer launcher, then turns it into an older one. The older one has
    another program, so that there is something to download."""
    offer(bundle, NEW, web, *options)
    set_version(bundle, OLD)
    with open(bundle / "Contents/Linux/tarvex-launcher", "ab") as program:
        program.write(b"older")


def offer_broken(bundle, web):
    """Publishes a launcher with an empty catalogue. It would start no updater, so it could never be
    replaced."""
    configuration = bundle / "Contents/Resources/launcher-config.json"
    good = configuration.read_bytes()
    configuration.write_text("{}")
    offer(bundle, BROKEN, web)
    configuration.write_bytes(good)
    set_version(bundle, OLD)


def walk(bundle, home, offer_good, pictures, *arguments):
    """Uses the launcher as a player would, on a virtual desktop. The broken launcher is offered first;
    `offer_good` replaces that offer."""
    shutil.rmtree(pictures, ignore_errors=True)
    pictures.mkdir(parents=True)
    with Desktop() as desktop:
        with desktop.launch(bundle, home, *arguments) as old:
            show(old, pictures, "1-available", button="Update")
            old.click("push button", "Update")
            show(old, pictures, "2-refused", button="Retry")
            offer_good()
            old.click("push button", "Retry")
            old.wait_for(button="Update")
            old.click("push button", "Update")
            wait_for_bar(old)
            show(old, pictures, "3-launcher", button="Updating…")
            new = old.successor()
            print(f"ended        with the start of the new one, exit status {old.process.wait(30)}")
        with new:
            wait_for_bar(new)
            show(new, pictures, "4-client", button="Updating…")
            show(new, pictures, "5-ready", button="Play")
            retired = bundle.with_name(bundle.name + ".old")
            wait_until(lambda: not retired.exists(), "the retired bundle to be removed")
            print("removed      the retired bundle")
            new.press("ctrl+q")
            new.process.wait(30)
            print("\nThe log:" + new.log.read_text())
    print(f"Pictures: {os.path.relpath(pictures)}/")


def main(built, web, folder, pictures, *arguments):
    shutil.rmtree(folder, ignore_errors=True)
    home = folder / "home"
    home.mkdir(parents=True)
    bundle = folder / built.name
    shutil.copytree(built, bundle)
    shutil.copytree(web, folder / "web")
    with WebServer(folder / "web", rate=SPEED) as server:
        point_to(bundle, server.address)
        newer = folder / "newer.app"
        shutil.copytree(bundle, newer)
        offer_newer(bundle, folder / "web")
        if os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY"):
            open_on_display(bundle, home, *arguments)
        else:
            offer_broken(bundle, folder / "web")
            walk(bundle, home, lambda: offer(newer, NEW, folder / "web"), pictures, *arguments)


if __name__ == "__main__":
    main(*(Path(word).resolve() for word in sys.argv[1:5]), *sys.argv[5:])
