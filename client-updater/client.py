"""The client of a region: its offered and its installed release."""

from __future__ import annotations

import os

import fetch
import release
import trust
from release import UpdateError
from store import local_path, locked, read_record, regions_folder


class Region:
    def __init__(self, region_id, config, say):
        self.id, self.config, self.say = region_id, config, say
        self.folder = os.path.join(regions_folder(), region_id)
        self.releases = os.path.join(self.folder, "releases")
        self.record = os.path.join(self.folder, "current.json")

    def read_offer(self):
        """The server's offer. None if the server gives no usable answer and the installed game may then be
        played."""
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

    # --- The installed release ---

    def installed(self):
        return read_record(self.record)

    def work_folder(self):
        name = self.installed().get("folder")
        return os.path.join(self.releases, name) if release.is_text(name) else None

    def command(self):
        """The command that starts the installed game; None if there is no such program."""
        command, work = self.installed().get("command"), self.work_folder()
        if not (work and isinstance(command, list) and command and all(map(release.is_text, command))):
            return None
        program = local_path(os.path.join(work, "files"), command[0])
        can_start = os.path.isfile(program) and os.access(program, os.X_OK)
        return [program, *command[1:]] if can_start else None

    def is_current(self, offer):
        """Whether the installed release is the offered one, or there is no offer that can be installed."""
        if not self.command():
            return False
        if offer is None or release.is_same(offer.release, self.installed()):
            return True
        reason = self.refusal(offer)
        if reason:
            self.say(f"{offer.release['releaseId']} is not taken. {reason}")
        return reason is not None

    def refusal(self, offer):
        """The reason why an offer is refused; None when it is accepted."""
        if release.is_older(offer.counter, self.installed()):
            return "The server offers an older release than the installed one. Try again later."
        if os.path.isdir(self.folder) and not os.access(self.folder, os.W_OK):
            return f"Tarvex has no permission to use {self.folder}."
        return None
