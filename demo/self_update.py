"""Shows an update of the launcher itself. Publishes BUNDLE as the newer launcher, together with the
demo's releases, makes an older copy, and opens that. Without a display, it uses the copy on a virtual
one, prints the texts of the windows, and saves pictures.

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

OLD, NEW = "a" * 16, "b" * 16
PUBLISH = Path(__file__).resolve().parents[1] / "client-updater/publish.py"


def set_version(bundle, version):
    information = bundle / "Contents/Info.plist"
    properties = plistlib.loads(information.read_bytes())
    information.write_bytes(plistlib.dumps({**properties, "CFBundleVersion": version}))


def offer_newer(bundle, web, *options):
    """Publishes the bundle as the newer launcher, then turns it into an older one. The older one has
    another program, so that there is something to download."""
    set_version(bundle, NEW)
    subprocess.run(["/usr/bin/python3", PUBLISH, "--launcher", bundle, "--to", web, *options],
                   check=True)
    set_version(bundle, OLD)
    with open(bundle / "Contents/Linux/tarvex-launcher", "ab") as program:
        program.write(b"older")


def walk(bundle, home, pictures, *arguments):
    """Uses the launcher as a player would, on a virtual desktop."""
    shutil.rmtree(pictures, ignore_errors=True)
    pictures.mkdir(parents=True)
    with Desktop() as desktop:
        with desktop.launch(bundle, home, *arguments) as old:
            show(old, pictures, "1-available", button="Update")
            old.click("push button", "Update")
            wait_for_bar(old)
            show(old, pictures, "2-launcher", button="Updating…")
            new = old.successor()
            print(f"ended        with the start of the new one, exit status {old.process.wait(30)}")
        with new:
            wait_for_bar(new)
            show(new, pictures, "3-client", button="Updating…")
            show(new, pictures, "4-ready", button="Play")
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
        offer_newer(bundle, folder / "web")
        if os.environ.get("DISPLAY") or os.environ.get("WAYLAND_DISPLAY"):
            open_on_display(bundle, home, *arguments)
        else:
            walk(bundle, home, pictures, *arguments)


if __name__ == "__main__":
    main(*(Path(word).resolve() for word in sys.argv[1:5]), *sys.argv[5:])
