"""The client of a region: what is offered, what is installed, and the way from one to the other."""

from __future__ import annotations

import contextlib
import fcntl
import glob
import os

import fetch
import release
import trust
from install import Work, load_manifest
from release import Fault, UpdateError
from store import (has_size, local_path, locked, make_private_folder, read_record, regions_folder,
                   remove, replace_record)


class Region:
    def __init__(self, region_id, config, say):
        self.id, self.config, self.say = region_id, config, say
        self.folder = os.path.join(regions_folder(), region_id)
        self.releases = os.path.join(self.folder, "releases")

    def read_offer(self):
        """None when there is no network, but a game that may be played without."""
        def accept(envelope):
            return release.read_description(trust.opened(envelope, self.config.public_keys), self.id)

        try:
            offer = fetch.read(self.config, release.DESCRIPTION, release.MAX_DESCRIPTION, accept,
                               self.say)
        except UpdateError as error:
            without = self.config.offline_play and isinstance(error.__cause__, fetch.Failure)
            if not without or not self.command():
                raise
            self.say(f"The installed release is taken without asking: {error}")
            return None
        if offer.release is None:
            raise UpdateError(f"No release is offered for {self.config.region_name}.")
        return offer

    def locked(self, kind):
        others = f"{self.config.region_name} is being updated or played"
        return locked(os.path.join(self.folder, "lock"), kind, others)

    # --- What is installed ---

    def installed(self):
        return read_record(os.path.join(self.folder, "current.json"))

    def work_folder(self):
        name = self.installed().get("folder")
        return os.path.join(self.releases, name) if isinstance(name, str) else None

    def command(self):
        """What starts the installed game; None when that cannot be started."""
        command, work = self.installed().get("command"), self.work_folder()
        if not work or not isinstance(command, list) or not command:
            return None
        program = local_path(os.path.join(work, "files"), command[0])
        can_start = os.path.isfile(program) and os.access(program, os.X_OK)
        return [program, *command[1:]] if can_start else None

    def is_current(self, offer):
        """Whether there is nothing to install, or nothing that may or can be installed."""
        if not self.command():
            return False
        if offer is None or release.is_same(offer.release, self.installed()):
            return True
        reason = self.refusal(offer)
        if reason:
            self.say(f"{offer.release['releaseId']} is not taken. {reason}")
        return reason is not None

    def refusal(self, offer):
        """Why an offer is not taken; None when it may be."""
        if release.is_older(offer.counter, self.installed()):
            return "The server offers an older release than the installed one. Try again later."
        if os.path.isdir(self.folder) and not os.access(self.folder, os.W_OK):
            return f"Tarvex has no permission to use {self.folder}."
        return None

    def is_complete(self):
        """Whether all files are there; what is in them, only a repair asks."""
        work = self.work_folder()
        try:
            manifest = load_manifest(work)
        except (OSError, Fault, TypeError):
            return False
        files = os.path.join(work, "files")
        return all(has_size(local_path(files, file.path), file.object.size)
                   for file in manifest.files)

    # --- Installing ---

    def update(self, offer, repair=False):
        if not repair and self.is_current(offer) and self.is_complete():
            if len(os.listdir(self.releases)) > 1:
                with contextlib.suppress(UpdateError), self.locked(fcntl.LOCK_EX):
                    self.remove_rubbish()
            self.say(f"Client {self.installed()['releaseId']} is current.")
        elif offer is None:
            raise UpdateError("The installed game is damaged. Try again with a network.")
        else:
            make_private_folder(self.releases)
            with self.locked(fcntl.LOCK_EX):
                # Only now nobody else installs anything newer.
                if reason := self.refusal(offer):
                    raise UpdateError(reason)
                self.install(offer, repair)
            self.say(f"Installed client {offer.release['releaseId']}")

    def install(self, offer, repair):
        name = offer.release["releaseId"]
        self.say(f"Updating to client {name}…")
        # The same for every attempt, so that one goes on where the last one stopped; but never the
        # folder of the installed release, which stays as it is until another one is complete.
        folder = os.path.join(self.releases, f"{name}-{offer.manifest.sha256[:16]}")
        if folder == self.work_folder():
            folder += "-again"
        # Read-only, because files are shared by links between releases and regions.
        work = Work(folder, "client", (0o500, 0o400), self.config, self.say)
        manifest = work.fetch_manifest(offer.manifest)
        if not manifest.command:
            raise UpdateError("The release on the server does not contain a game.")
        work.complete(manifest, earlier_releases(folder),
                      trust_seals=not repair and (not self.installed() or self.is_complete()))
        replace_record(os.path.join(self.folder, "current.json"),
                       {**offer.release, "counter": offer.counter, "command": manifest.command,
                        "folder": os.path.basename(folder)})
        self.remove_rubbish()

    def remove_rubbish(self):
        """Removes older releases and the remains of attempts at others."""
        for path in glob.glob(os.path.join(glob.escape(self.releases), "*")):
            if path != self.work_folder():
                remove(path)


def earlier_releases(but):
    """Whatever lies on the disk, of any region: each folder of files with its manifest."""
    for work in glob.glob(os.path.join(glob.escape(regions_folder()), "*/releases/*")):
        if work != but:
            try:
                yield os.path.join(work, "files"), load_manifest(work)
            except (OSError, Fault):
                continue
