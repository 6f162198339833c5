"""Replaces the launcher's bundle, NAME.app. The new one is made in NAME.app.new beside it. Then the two
are swapped, in one step if the system can do that. The old one becomes NAME.app.old, which the new
launcher deletes when it starts."""

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
        if not is_launcher(bundle, offer.launcher):  # else an interrupted run has already installed it
            install(config, offer, bundle, say)
        remove(bundle + ".new")
        replace_record(os.path.join(support, "launcher.json"),
                       {"version": offer.launcher, "counter": offer.counter})
    say(f"Installed launcher {offer.launcher}. Restarting…")


def install(config, offer, bundle, say):
    # Other users get the same access as to the old bundle.
    access = os.stat(bundle).st_mode & 0o777
    work = Work(bundle + ".new", "launcher", (access, access & 0o666), config, say)
    manifest = work.fetch_manifest(offer.launcher_manifest)
    # Seals do not help: a sealed file of the old bundle may have other content than the new one's.
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
    """A launcher that cannot read its catalogue or run its updater on this computer could never be
    replaced. So the new bundle contains a program that tries both, in a temporary home."""
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
    """Puts the new bundle in the place of the old one, and renames the old one. If the system can swap the
    two in one step, there is a complete bundle in that place at every moment."""
    retired = bundle + ".old"
    remove(retired)
    if exchange(new, bundle):
        with contextlib.suppress(OSError):  # on failure, the caller removes the old bundle
            os.rename(new, retired)
        return
    # Otherwise, there are two steps. If the process is killed between them, there is no bundle.
    try:
        os.rename(bundle, retired)
        os.rename(new, bundle)
    except BaseException:
        if not os.path.exists(bundle):
            os.rename(retired, bundle)
        raise
