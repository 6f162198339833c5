"""Replaces the launcher's bundle, NAME.app. The new one is made beside it, in NAME.app.new; swapping the
two is the one step that switches over. The old one goes to NAME.app.old, which the next launcher
deletes when it starts."""

from __future__ import annotations

import contextlib
import fcntl
import os

from install import Work
from release import Fault, UpdateError
from store import (exchange, locked, make_private_folder, remove, replace_record, support_folder,
                   sync)


def update(config, offer, bundle, say):
    support = support_folder()
    make_private_folder(support)
    with locked(os.path.join(support, "launcher.lock"), fcntl.LOCK_EX, "The launcher is being updated"):
        say(f"Updating launcher to {offer.launcher}…")
        if not is_launcher(bundle, offer.launcher):  # or the last run was killed a moment too early
            install(config, offer, bundle, say)
        remove(bundle + ".new")
        replace_record(os.path.join(support, "launcher.json"),
                       {"version": offer.launcher, "counter": offer.counter})
    say(f"Installed launcher {offer.launcher}. Restarting…")


def install(config, offer, bundle, say):
    # As open to other users as the bundle that it replaces.
    access = os.stat(bundle).st_mode & 0o777
    work = Work(bundle + ".new", "launcher", (access, access & 0o666), config, say)
    manifest = work.fetch_manifest(offer.launcher_manifest)
    # A file of the bundle is sealed, too, but that does not say that it is the one that is wanted.
    work.complete(manifest, [(bundle, manifest)], trust_seals=False)
    for folder, _, _ in os.walk(work.files):
        os.chmod(folder, access)
    if not is_launcher(work.files, offer.launcher):
        remove(work.folder)
        raise UpdateError("The release on the server does not contain that launcher.")
    rehearse(work)
    put_in_place(work.files, bundle)
    sync(os.path.dirname(bundle))


def rehearse(work):
    """A launcher that cannot read its catalogue or run its updater here would never be replaced again.
    So it comes with a program that tries both, in a home of its own."""
    import subprocess

    program = os.path.join(work.files, "Contents/Linux/check-updater")
    if not os.access(program, os.X_OK):
        return
    run = subprocess.run([program, "--quiet", os.path.join(work.files, "Contents/Resources")],
                         stdout=subprocess.PIPE, stderr=subprocess.STDOUT,
                         env={**os.environ, "TMPDIR": work.folder})
    if run.returncode != 0:
        remove(work.folder)
        said = run.stdout.decode(errors="replace")
        raise UpdateError("The new launcher does not work on this computer.") from Fault(said)


def is_launcher(bundle, version):
    import plistlib

    try:
        with open(os.path.join(bundle, "Contents/Info.plist"), "rb") as file:
            information = plistlib.load(file)
        program = os.path.join(bundle, "Contents/Linux", information["CFBundleExecutable"])
        resources = os.path.join(bundle, "Contents/Resources")
        return (information["CFBundleVersion"] == version and os.access(program, os.X_OK)
                and all(os.path.isfile(os.path.join(resources, name))
                        for name in ("client_updater.py", "launcher-config.json")))
    except Exception:  # there are many ways in which a property list can be damaged
        return False


def put_in_place(new, bundle):
    """Gives the new bundle the place, and retires the old one. Whenever this process is killed, a
    whole bundle is at the place."""
    retired = bundle + ".old"
    remove(retired)
    if exchange(new, bundle):
        with contextlib.suppress(OSError):  # then it goes with what else is left of the update
            os.rename(new, retired)
        return
    # Two steps, for a moment without a bundle: here only a kill at that moment does harm.
    try:
        os.rename(bundle, retired)
        os.rename(new, bundle)
    except BaseException:
        if not os.path.exists(bundle):
            os.rename(retired, bundle)
        raise
