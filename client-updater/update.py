"""Updates or repairs the client of a region."""

from __future__ import annotations

import contextlib
import fcntl
import glob
import os

from install import Work, load_manifest
from release import Fault, UpdateError
from store import has_size, local_path, make_private_folder, regions_folder, remove, replace_record


def update(region, offer, repair=False):
    if not repair and region.is_current(offer) and is_complete(region):
        if len(os.listdir(region.releases)) > 1:
            with contextlib.suppress(UpdateError), region.locked(fcntl.LOCK_EX):
                remove_rubbish(region)
        region.say(f"Client {region.installed()['releaseId']} is current.")
    elif offer is None:
        raise UpdateError("The installed game is damaged. Try again with a network.")
    else:
        make_private_folder(region.releases)
        with region.locked(fcntl.LOCK_EX):
            # Asked again under the lock: another updater may have installed a newer release meanwhile.
            if reason := region.refusal(offer):
                raise UpdateError(reason)
            install(region, offer, repair)
        region.say(f"Installed client {offer.release['releaseId']}")


def is_complete(region):
    """Whether all files are there with their sizes. Only a repair reads their content."""
    work = region.work_folder()
    try:
        manifest = load_manifest(work)
    except (OSError, Fault, TypeError):
        return False
    files = os.path.join(work, "files")
    return all(has_size(local_path(files, file.path), file.object.size) for file in manifest.files)


def install(region, offer, repair):
    name = offer.release["releaseId"]
    region.say(f"Updating to client {name}…")
    # Every attempt uses the same folder, so that it continues the last one. The folder of the installed
    # release is never used, because that release must stay complete.
    folder = os.path.join(region.releases, f"{name}-{offer.manifest.sha256[:16]}")
    if folder == region.work_folder():
        folder += "-again"
    # Read-only, because files are shared by links between releases and regions.
    work = Work(folder, "client", (0o500, 0o400), region.config, region.say)
    manifest = work.fetch_manifest(offer.manifest)
    if not manifest.command:
        raise UpdateError("The release on the server does not contain a game.")
    # If an installed file is missing or has another size, the others may be damaged, too.
    work.complete(manifest, earlier_releases(folder),
                  trust_seals=not repair and (not region.installed() or is_complete(region)))
    replace_record(region.record, {**offer.release, "counter": offer.counter,
                                   "command": manifest.command, "folder": os.path.basename(folder)})
    remove_rubbish(region)


def remove_rubbish(region):
    """Removes older releases and unfinished ones."""
    for path in glob.glob(os.path.join(glob.escape(region.releases), "*")):
        if path != region.work_folder():
            remove(path)


def earlier_releases(but):
    """The file folders of all other releases of all regions, each with its manifest."""
    for work in glob.glob(os.path.join(glob.escape(regions_folder()), "*/releases/*")):
        if work != but:
            with contextlib.suppress(OSError, Fault):
                yield os.path.join(work, "files"), load_manifest(work)
