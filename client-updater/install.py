"""Makes a release's folder complete: takes what is on the disk already, downloads the rest, verifies
all of it. Nothing that is installed changes; a folder that stays incomplete is where the next attempt
goes on."""

from __future__ import annotations

import collections
import io
import os

from download import Download, unpacked_blocks
from fetch import Attempts, connect, read
from release import MAX_MANIFEST, Fault, UpdateError, read_manifest
from store import (is_whole, link_or_copy, local_path, make_private_folder, remove, replace_file, seal,
                   sync_disk_of)

MEGABYTE = 1_000_000
SPARE = 16 * MEGABYTE  # bytes of the disk that stay free


def load_manifest(folder):
    with open(os.path.join(folder, "manifest.json"), "rb") as file:
        return read_manifest(file.read())


class Work:
    def __init__(self, folder, product, config, say):
        """product: "client" or "launcher", for the lines of progress."""
        self.folder, self.product, self.config, self.say = folder, product, config, say
        self.files = os.path.join(folder, "files")
        self.parts = os.path.join(folder, "parts")

    def path(self, file):
        return local_path(self.files, file.path)

    def fetch_manifest(self, described):
        """From the server, unless an earlier attempt has left it."""
        def accept(data):
            content = b"".join(unpacked_blocks(io.BytesIO(data), described))
            return content, read_manifest(content)

        path = os.path.join(self.folder, "manifest.json")
        make_private_folder(self.parts)
        if is_whole(path, described, trust_seal=False):
            return load_manifest(self.folder)
        content, manifest = read(connect(self.config), described.name, accept, Attempts(self.say),
                                 MAX_MANIFEST, described.wire_size)
        replace_file(path, content)
        return manifest

    def complete(self, manifest, earlier, mode_of, trust_seals=True):
        """earlier: the folders of files that may be needed again, each with its manifest. mode_of: the
        mode of a file; files that are to stay apart from the earlier ones are writable."""
        wanted = collections.defaultdict(list)
        for file in manifest.files:
            wanted[file.object.sha256].append(file)
        candidates = collections.defaultdict(list)
        for folder, other in earlier:
            for file in other.files:
                if file.object.sha256 in wanted:
                    candidates[file.object.sha256].append((local_path(folder, file.path), mode_of(file)))
        for folder in {os.path.dirname(self.path(file)) for file in manifest.files}:
            make_private_folder(folder)

        missing = {}
        for files in wanted.values():
            path, content = self.path(files[0]), files[0].object
            if not is_whole(path, content, trust_seals):
                remove(path)
                if not any(self.take(source, path, content, mode == mode_of(files[0]), trust_seals)
                           for source, mode in candidates[content.sha256]):
                    missing[content] = path
        if missing:
            self.download(missing)
        self.say(f"Verifying and installing {self.product}…")
        for first, *others in wanted.values():
            for file in others:
                path = self.path(file)
                if not is_whole(path, file.object, trust_seals):
                    remove(path)
                    may_link = mode_of(file) == mode_of(first)
                    if not self.take(self.path(first), path, file.object, may_link):
                        raise Fault(f"{path} cannot be made")
        # Before the seals: a seal on the disk says that all of the file is there.
        sync_disk_of(self.folder)
        for file in manifest.files:
            seal(self.path(file), mode_of(file))
        remove(self.parts)

    def take(self, source, path, content, may_link, trust_seals=True):
        if not is_whole(source, content, trust_seals):
            return False
        scratch = os.path.join(self.parts, "copy")
        return link_or_copy(source, path, content, scratch, may_link)

    def download(self, missing):
        download = Download(self.config, self.parts, missing, self.say, self.product)
        status = os.statvfs(self.folder)
        free, needed = status.f_bavail * status.f_frsize, download.space_needed() + SPARE
        if needed > free:
            raise UpdateError("There is not enough free space on the disk: "
                              f"{needed // MEGABYTE + 1:,} MB are needed, "
                              f"{free // MEGABYTE:,} MB are free.")
        download.run()
