#!/usr/bin/python3
"""Publishes a game, or a launcher, in a folder that any web server can serve.

    publish GAME_FOLDER --to WEB_FOLDER --region ID --release NAME [--start COMMAND]
                        [--revision TEXT] [--world VERSION] [--key FILE] [--keep N]
    publish --to WEB_FOLDER --region ID --release NAME      offers an earlier release again
    publish --to WEB_FOLDER --launcher ARCHIVE              a package of scripts/package, or a bundle;
                                                            can be combined with the other forms

COMMAND is the program in the game's folder, with its arguments. It may be left out if exactly one file
directly in the folder is executable. --key names a secret key of minisign: updaters with the public key
accept only releases that were published with it. --keep removes all but the last N releases of each
region, and of the launcher.

In WEB_FOLDER, objects/ has the files under their hashes, history/ the descriptions of all kept
releases, and release.json the descriptions of the offered ones. Objects are added before release.json
names them, and are never changed, so the folder can be served at any time. When you copy it to a server,
copy release.json last.
"""

from __future__ import annotations

import argparse
import contextlib
import fcntl
import hashlib
import json
import os
import plistlib
import re
import shlex
import shutil
import subprocess
import sys
import tarfile
import tempfile
import time
import zlib
from pathlib import Path

sys.dont_write_bytecode = True

from release import (BLOCK_SIZE, DESCRIPTION, REGION_ID, RELEASE_ID, VERSION, WORLD, Fault, Object,
                     member, read_json, read_manifest)
from store import digest_of, replace_record, sync_disk_of

SAVES = 0.95  # a compressed object has at most this part of the file's size


class Mistake(Exception):
    """A mistake of the operator; its text is one sentence for him."""


# --- Games and launchers -------------------------------------------------------------------------


def files_in(folder):
    """All files of a folder. A link is replaced by its target."""
    def fail(error):
        raise error

    for place, folders, names in os.walk(folder, onerror=fail):
        for path in (Path(place, name) for name in names + folders):
            if path.is_file():
                yield path
            elif path.is_symlink() or not path.is_dir():
                raise Mistake(f"{path} is neither a file nor a folder.")


@contextlib.contextmanager
def bundle_in(archive):
    """The folder of the bundle in a package. A bundle is returned as it is."""
    if archive.is_dir():
        yield archive
        return
    with tempfile.TemporaryDirectory() as folder:
        try:
            with tarfile.open(archive) as members:
                for entry in members:
                    _, bundle, path = entry.name.partition(".app/")
                    target = Path(folder, "./" + path)  # the path may begin with "/"
                    content = members.extractfile(entry)  # None for a folder; a link's target
                    if bundle and content and ".." not in target.parts:
                        target.parent.mkdir(parents=True, exist_ok=True)
                        with open(target, "wb") as file:
                            shutil.copyfileobj(content, file)
                        target.chmod(entry.mode & 0o777)
        except (OSError, KeyError, tarfile.TarError) as error:
            raise Mistake(f"{archive} is no package of the launcher ({error}).") from error
        yield Path(folder)


def version_of(bundle):
    try:
        information = plistlib.loads((bundle / "Contents/Info.plist").read_bytes())
        version = information["CFBundleVersion"]
        if re.fullmatch(VERSION, version):
            return version
    except Exception:  # there are many ways in which a property list can be damaged
        pass
    raise Mistake("There is no launcher, or it has no version that another launcher would take.")


def command_of(text, entries):
    if text:
        return shlex.split(text)
    programs = [entry["path"] for entry in entries
                if entry["mode"] == "755" and "/" not in entry["path"]]
    if len(programs) != 1:
        raise Mistake("Which file starts the game? Say it with --start.")
    return programs


# --- The folder ----------------------------------------------------------------------------------


class Web:
    def __init__(self, folder):
        self.folder = folder
        self.new = {}  # objects without their final name, with their size on the server

    def path(self, name):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        return path

    def add(self, source):
        """Adds a file, unless it is there. Returns its description for a manifest."""
        with open(source, "rb") as file:
            content = Object(digest_of(file), file.tell(), None)
            packed = content._replace(packed=0)
            for known in (content, packed):
                path = self.path(known.name + ".new" * (known.name in self.new))
                if path.exists():
                    return described(content, path.stat().st_size if known.is_packed else None)
            file.seek(0)
            start = file.read(4 * BLOCK_SIZE)
            size = None
            if len(zlib.compress(start)) <= SAVES * len(start):
                size = self.write(file, packed, SAVES * content.size, zlib.compressobj())
            if size is None:
                self.write(file, content, content.size)
        return described(content, size)

    def write(self, file, content, most, packer=None):
        """Writes the file beside the object's place. Returns the number of written bytes, or None if
        that would be more than most."""
        digest, new = hashlib.sha256(), self.path(content.name + ".new")
        file.seek(0)
        with open(new, "wb") as target:
            while block := file.read(BLOCK_SIZE):
                digest.update(block)
                target.write(packer.compress(block) if packer else block)
            target.write(packer.flush() if packer else b"")
            size = target.tell()
        if digest.hexdigest() != content.sha256:
            raise Mistake(f"{file.name} changes while it is being published.")
        if size > most:
            os.unlink(new)
            return None
        self.new[content.name] = size
        return size

    def place(self):
        """Syncs new objects and gives them their final names. Returns their bytes."""
        sync_disk_of(self.folder)
        for name in self.new:
            os.replace(self.folder / (name + ".new"), self.folder / name)
        return sum(self.new.values())

    def add_release(self, folder, start=None):
        """Adds all files and their manifest. start is None for a launcher."""
        entries = [{"path": path.relative_to(folder).as_posix(),
                    "mode": "755" if os.access(path, os.X_OK) else "644", **self.add(path)}
                   for path in sorted(files_in(folder))]
        manifest = {"files": entries}
        if start is not None:
            manifest["command"] = command_of(start, entries)
        text = json.dumps(manifest, separators=(",", ":")).encode()
        try:
            read_manifest(text)
        except Fault as fault:
            raise Mistake(f"This cannot be published: {fault}.") from fault
        with tempfile.NamedTemporaryFile() as file:
            file.write(text)
            file.flush()
            return self.add(file.name)

    def envelope(self):
        path = self.folder / DESCRIPTION
        return read_json(path.read_bytes()) if path.exists() else {"release": "{}"}

    def offer(self, description, news, key):
        text = json.dumps(description, indent=1, sort_keys=True)
        envelope = {"release": text}
        if key:
            envelope["signature"] = signature_of(text, key, f"counter {description['counter']}")
        for series, name, entry in news:
            self.remember(series, name, entry, description["counter"])
        sync_disk_of(self.folder)
        replace_record(str(self.folder / DESCRIPTION), envelope)

    # --- Earlier releases ---

    def remember(self, series, name, entry, counter):
        replace_record(str(self.path(f"history/{series}/{name}.json")),
                       {"name": name, "counter": counter, "entry": entry})

    def history(self, series):
        """The newest first."""
        entries = [json.loads(path.read_bytes())
                   for path in self.folder.glob(f"history/{series}/*.json")]
        return sorted(entries, key=lambda entry: -entry["counter"])

    def keep(self, count, offered):
        """Removes all releases but the last ones and the offered ones, and unneeded objects."""
        entries, needed = list(offered), set()
        for folder in {path.parent for path in self.folder.glob("history/**/*.json")}:
            # Offered releases come first: the newest in the history may never have been offered, if
            # publishing was interrupted.
            releases = sorted(self.history(folder.relative_to(self.folder / "history")),
                              key=lambda release: release["entry"] not in offered)
            for release in releases[count:]:
                (folder / f"{release['name']}.json").unlink()
            entries += (release["entry"] for release in releases[:count])
        for entry in entries:
            manifest = object_of(entry["manifest"])
            needed.add(manifest.name)
            content = (self.folder / manifest.name).read_bytes()
            content = zlib.decompress(content) if manifest.is_packed else content
            needed |= {object_of(file).name for file in json.loads(content)["files"]}
        for path in self.folder.glob("objects/*/*"):
            if str(path.relative_to(self.folder)) not in needed:
                path.unlink()


def described(content, packed):
    return {"sha256": content.sha256, "size": content.size,
            **({} if packed is None else {"packed": packed})}


def object_of(entry):
    return Object(entry["sha256"], entry["size"], entry.get("packed"))


def signature_of(text, key, comment):
    with tempfile.TemporaryDirectory() as folder:
        file, signature = Path(folder, DESCRIPTION), Path(folder, "signature")
        file.write_bytes(text.encode())
        try:  # minisign asks for the password of the key
            subprocess.run(["minisign", "-S", "-s", key, "-m", file, "-x", signature, "-t", comment],
                           check=True, stdout=sys.stderr)
        except (OSError, subprocess.CalledProcessError) as error:
            raise Mistake(f"minisign has not signed the release ({error}).") from error
        return signature.read_text()


# --- The program ---------------------------------------------------------------------------------


def client_entry(web, arguments):
    """The release's description for release.json."""
    if not arguments.game:
        for release in web.history(f"regions/{arguments.region}"):
            if release["name"] == arguments.release:
                return release["entry"]
        raise Mistake(f"There is no release {arguments.release} of {arguments.region} to take back to.")
    manifest = web.add_release(arguments.game, arguments.start or "")
    entry = {"releaseId": arguments.release, "manifest": manifest,
             "sourceRevision": arguments.revision or manifest["sha256"][:40]}
    return {**entry, **({"worldVersion": arguments.world} if arguments.world else {})}


def publish(arguments):
    if arguments.game and arguments.to.resolve().is_relative_to(arguments.game.resolve()):
        raise Mistake(f"{arguments.to} is in the game's folder, so it would be published, too.")
    os.umask(os.umask(0) & 0o022)  # the web server must be able to read all files
    arguments.to.mkdir(parents=True, exist_ok=True)
    lock = os.open(arguments.to, os.O_RDONLY)  # until the end of this process
    fcntl.flock(lock, fcntl.LOCK_EX)
    web = Web(arguments.to)
    envelope = web.envelope()
    if "signature" in envelope and not arguments.key:
        raise Mistake("What is published here is signed. Say with --key by which key.")
    before = read_json(member(envelope, "release", str))
    after = {**before, "regions": dict(before.get("regions", {}))}
    news = []
    if arguments.launcher:
        with bundle_in(arguments.launcher) as bundle:
            after["launcher"] = {"version": version_of(bundle), "manifest": web.add_release(bundle)}
        news.append(("launcher", after["launcher"]["version"], after["launcher"]))
    if arguments.region:
        after["regions"][arguments.region] = client_entry(web, arguments)
        news.append((f"regions/{arguments.region}", arguments.release,
                     after["regions"][arguments.region]))
    added = web.place()
    if after == before and not arguments.key:  # with a key, it is signed again: the key may be new
        print("Nothing is new.")
    else:
        after["counter"] = max(before.get("counter", 0) + 1, int(time.time()))
        web.offer(after, news, arguments.key)
        names = ", ".join(f"{series} {name}" for series, name, _ in news)
        print(f"Published: {names}; {added:,} bytes are new.")
    if arguments.keep:
        web.keep(arguments.keep, [*after["regions"].values(),
                                  *([after["launcher"]] if "launcher" in after else [])])


def main():
    head, usage, *_ = __doc__.split("\n\n")
    parser = argparse.ArgumentParser(description=head, usage=usage.strip())
    parser.add_argument("game", type=Path, nargs="?")
    parser.add_argument("--to", type=Path, required=True)
    for name in ("region", "release", "start", "revision", "world", "key"):
        parser.add_argument(f"--{name}")
    parser.add_argument("--launcher", type=Path)
    parser.add_argument("--keep", type=int)
    arguments = parser.parse_args()
    for name, form in (("region", REGION_ID), ("release", RELEASE_ID), ("revision", RELEASE_ID),
                       ("world", WORLD), ("keep", "[1-9][0-9]*")):
        value = getattr(arguments, name)
        if value is not None and not re.fullmatch(form, str(value)):
            parser.error(f"--{name} has to look like {form}")
    if bool(arguments.region) != bool(arguments.release) or arguments.game and not arguments.region:
        parser.error("a game needs a --region and a --release")
    if not arguments.region and not arguments.launcher:
        parser.error("there is nothing to publish")
    try:
        publish(arguments)
    except (Mistake, OSError, Fault, ValueError) as error:
        sys.exit("publish: " + " ".join(str(error).split()))


if __name__ == "__main__":
    main()
