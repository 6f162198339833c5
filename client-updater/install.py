"""Completes a release's folder: links or copies files that are on the disk already, downloads the others,
and verifies all. Installed releases are not changed. The next attempt continues an incomplete folder."""

from __future__ import annotations

import collections
import os

from download import Download
from fetch import DAMAGED
from release import Fault, UpdateError, read_manifest
from store import (is_whole, link_or_copy, local_path, make_private_folder, remove, seal, sync_disk_of)

MEGABYTE = 1_000_000
SPARE = 16 * MEGABYTE  # bytes of the disk that stay free


def load_manifest(folder):
    with open(os.path.join(folder, "manifest.json"), "rb") as file:
        return read_manifest(file.read())


class Work:
    def __init__(self, folder, product, modes, config, say):
        """product: "client" or "launcher", for the lines of progress; modes: of executable files, and
        of other files."""
        self.folder, self.product, self.config, self.say = folder, product, config, say
        self.modes = modes
        self.files = os.path.join(folder, "files")
        self.parts = os.path.join(folder, "parts")

    def path(self, file):
        return local_path(self.files, file.path)

    def mode(self, file):
        return self.modes[not file.executable]

    def fetch_manifest(self, described):
        """Downloads the manifest, unless an earlier attempt has done so."""
        path = os.path.join(self.folder, "manifest.json")
        make_private_folder(self.parts)
        if not is_whole(path, described, trust_seal=False):
            remove(self.files)  # they may belong to another release
            self.download({described: path}, lambda _: None)
        try:
            return load_manifest(self.folder)
        except Fault as error:
            raise UpdateError(DAMAGED) from error

    def complete(self, manifest, earlier, trust_seals):
        """earlier: folders with files that can be used again, each with its manifest."""
        wanted = collections.defaultdict(list)
        for file in manifest.files:
            wanted[file.object.sha256].append(file)
        candidates = collections.defaultdict(list)
        for folder, other in earlier:
            for file in other.files:
                candidates[file.object.sha256].append((local_path(folder, file.path), self.mode(file)))
        for folder in {os.path.dirname(self.path(file)) for file in manifest.files}:
            make_private_folder(folder)

        missing = {files[0].object: self.path(files[0]) for files in wanted.values()
                   if not self.take(files[0], candidates[files[0].object.sha256], trust_seals)}
        if missing:
            self.download(missing, lambda percent: self.say(f"Downloading {self.product}: {percent}%"))
        self.say(f"Verifying and installing {self.product}…")
        for first, *others in wanted.values():
            for file in others:
                if not self.take(file, [(self.path(first), self.mode(first))], trust_seals):
                    raise Fault(f"{file.path} cannot be made")
        # Before the seals: after a crash, a sealed file must be complete on the disk.
        sync_disk_of(self.folder)
        for file in manifest.files:
            seal(self.path(file), self.mode(file))
        remove(self.parts)

    def take(self, file, candidates, trust_seals):
        """Puts the file in its place without a download. Returns whether that was possible.
        candidates: paths that may have the content, with their modes."""
        target, content = self.path(file), file.object
        if is_whole(target, content, trust_seals):
            return True
        remove(target)
        scratch = os.path.join(self.parts, "copy")
        return any(is_whole(source, content, trust_seals)
                   and link_or_copy(source, target, content, scratch, mode == self.mode(file))
                   for source, mode in candidates)

    def download(self, targets, say_percent):
        download = Download(self.config, self.parts, targets)
        status = os.statvfs(self.folder)
        free, needed = status.f_bavail * status.f_frsize, download.space_needed() + SPARE
        if needed > free:
            raise UpdateError("There is not enough free space on the disk: "
                              f"{needed // MEGABYTE + 1:,} MB are needed, "
                              f"{free // MEGABYTE:,} MB are free.")
        download.run(self.say, say_percent)
