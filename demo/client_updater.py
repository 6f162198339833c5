#!/usr/bin/python3
"""Checks for, installs and starts the Tarvex client on behalf of the launcher.

    client_updater.py --config FILE --region ID
                      [--launcher-bundle FOLDER --launcher-version VERSION]
                      [--relaunched-from VERSION] [--no-self-update]
                      [--check | --update-only | -- GAME ARGUMENT...]

    --check        says in one UPDATE_CHECK line what could be updated; changes nothing
    --update-only  brings the client up to date
    neither        does the same, then runs the game and ends with the game's exit status

The launcher reads standard output and standard error as one stream of UTF-8 lines and acts on
those that it knows: the literal texts below are an interface, down to the character "…". A failure
is one line "Tarvex launcher error: " with a sentence for the player, and exit status 1.

This demo takes its releases from a local folder, RELEASES/<region id>/, that holds release.json
and the archive that it names. What is installed lies in
~/Library/Application Support/Tarvex/client/regions/<region id>/:

    current.json  describes the installed client; replacing it is the one step that switches over
    releases/     a folder for each client; all that current.json does not name is rubbish
    lock          held exclusively to install, shared to play
"""

from __future__ import annotations

import argparse
import contextlib
import errno
import fcntl
import gzip
import hashlib
import json
import os
import pwd
import re
import shutil
import signal
import subprocess
import sys
import tarfile
import tempfile
import time
import zlib
from pathlib import Path, PurePosixPath
from typing import NamedTuple

GAME = "tarvex-game"
BLOCK_SIZE = 8192
REGION_ID = r"[a-z][a-z0-9-]{0,31}"

# The text fields of release.json, each with the form that its whole value must have. The launcher
# rejects a check report whose release or world does not look like this.
RELEASE_FIELDS = {
    "releaseId": r"[A-Za-z0-9][A-Za-z0-9._-]{0,63}",
    "sourceRevision": r"[0-9a-f]{40}",
    "worldVersion": r"[0-9]{1,9}\.[0-9]{1,9}\.[0-9]{1,9}\.[0-9a-f]{12}",
    "archive": r"[A-Za-z0-9][A-Za-z0-9._-]*",
    "sha256": r"[0-9a-f]{64}",
}

# What current.json takes over from release.json. The launcher shows the first three; the checksum
# lets a release that was published again under its old name count as an update.
INSTALLED_FIELDS = ("releaseId", "sourceRevision", "worldVersion", "sha256")


class UpdateError(Exception):
    """A failure; its text is a sentence for the player."""


class Region(NamedTuple):
    name: str
    offered: Path  # the folder with release.json and the archive
    installed: Path
    download_seconds: float


def say(line: str) -> None:
    try:
        print(line, flush=True)
    except BrokenPipeError:
        # The launcher is gone. Python would try to write the line once more at its own end.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        sys.exit(1)


# --- What is offered and what is installed -------------------------------------------------------


def read_object(path: Path) -> dict:
    value = json.loads(path.read_bytes())
    if not isinstance(value, dict):
        raise ValueError("not a JSON object")
    return value


def support_folder() -> Path:
    home = os.environ.get("HOME") or pwd.getpwuid(os.getuid()).pw_dir
    return Path(home, "Library/Application Support/Tarvex")


def find_region(config_file: Path, region_id: str) -> Region:
    try:
        config = read_object(config_file)
        names = {region["id"]: region["name"] for region in config["regions"]}
        releases = config_file.parent / config.get("releases", "releases")
        download_seconds = float(config.get("downloadSeconds", 0))
    except (OSError, ValueError, KeyError, TypeError) as error:
        raise UpdateError("The launcher configuration is missing or damaged.") from error
    if region_id not in names or not re.fullmatch(REGION_ID, region_id):
        raise UpdateError(f"There is no region “{region_id}”.")
    installed = support_folder() / "client/regions" / region_id
    return Region(names[region_id], releases / region_id, installed, download_seconds)


def offered_release(region: Region) -> dict:
    try:
        release = read_object(region.offered / "release.json")
    except FileNotFoundError as error:
        raise UpdateError(f"No release is offered for {region.name}.") from error
    except (OSError, ValueError) as error:
        raise UpdateError(f"The release of {region.name} has no readable description.") from error
    texts_fit = all(
        isinstance(release.get(field), str) and re.fullmatch(form, release[field])
        for field, form in RELEASE_FIELDS.items()
    )
    size = release.get("size")
    if not texts_fit or type(size) is not int or size <= 0:
        raise UpdateError(f"The release of {region.name} is described wrongly.")
    return release


def installed_client(region: Region) -> dict:
    """What current.json says; nothing when it is missing or damaged."""
    try:
        return read_object(region.installed / "current.json")
    except (OSError, ValueError):
        return {}


def game_program(region: Region) -> Path:
    return region.installed / "releases" / str(installed_client(region).get("folder")) / GAME


def can_be_started(program: Path) -> bool:
    return program.is_file() and os.access(program, os.X_OK)


def is_current(region: Region, release: dict) -> bool:
    installed = installed_client(region)
    same = all(installed.get(field) == release[field] for field in INSTALLED_FIELDS)
    return same and can_be_started(game_program(region))


# --- Installing ----------------------------------------------------------------------------------


def make_private_folder(path: Path) -> None:
    """Unlike Path.mkdir, keeps the parents that it has to create private too."""
    if not path.is_dir():
        make_private_folder(path.parent)
        path.mkdir(mode=0o700, exist_ok=True)


@contextlib.contextmanager
def locked(region: Region, kind: int):
    # A lock needs no right to write, so an installed game can be played from a read-only disk.
    lock = os.open(region.installed / "lock", os.O_RDONLY | os.O_CREAT, 0o600)
    try:
        try:
            fcntl.flock(lock, kind | fcntl.LOCK_NB)
        except BlockingIOError as error:
            raise UpdateError(
                f"{region.name} is being updated or played already. Try again when that has ended."
            ) from error
        yield
    finally:
        os.close(lock)


def flush_to_disk(*paths: Path) -> None:
    for path in paths:
        descriptor = os.open(path, os.O_RDONLY)
        try:
            os.fsync(descriptor)
        finally:
            os.close(descriptor)


def download(region: Region, release: dict, target) -> str:
    """Copies the archive to target and returns its SHA-256."""
    try:
        source = open(region.offered / release["archive"], "rb")
    except OSError as error:
        raise UpdateError(f"Client {release['releaseId']} cannot be downloaded.") from error
    size, copied, shown = release["size"], 0, -1
    digest = hashlib.sha256()
    with source:
        while copied <= size and (block := source.read(BLOCK_SIZE)):
            target.write(block)
            digest.update(block)
            copied += len(block)
            percent = min(100 * copied // size, 100)
            if percent > shown:
                say(f"Downloading client: {percent}%")
                shown = percent
            # A local copy would be over before anybody could see the bar move.
            time.sleep(region.download_seconds * len(block) / size)
    if copied != size:
        raise UpdateError(f"The download of client {release['releaseId']} has the wrong size.")
    return digest.hexdigest()


def unpack(archive, folder: Path, release: dict) -> None:
    """Takes names, contents and the right to execute from the archive, and nothing else."""
    client = f"Client {release['releaseId']}"
    try:
        with tarfile.open(fileobj=archive, mode="r:gz") as members:
            for member in members:
                path = PurePosixPath(member.name)
                stays_inside = not path.is_absolute() and ".." not in path.parts
                if not stays_inside or not (member.isfile() or member.isdir()):
                    raise UpdateError(f"{client} contains the unsafe entry “{member.name}”.")
                if member.isdir():
                    make_private_folder(folder / path)
                    continue
                make_private_folder((folder / path).parent)
                with open(folder / path, "xb") as target:
                    shutil.copyfileobj(members.extractfile(member), target)
                (folder / path).chmod(0o700 if member.mode & 0o100 else 0o600)
    except (tarfile.TarError, gzip.BadGzipFile, zlib.error, EOFError) as error:
        raise UpdateError(f"{client} cannot be unpacked.") from error
    if not can_be_started(folder / GAME):
        raise UpdateError(f"{client} does not contain the game.")


def replace_current(region: Region, description: dict) -> None:
    new = region.installed / "current.json.new"
    try:
        new.write_text(json.dumps(description, indent=2) + "\n", encoding="utf-8")
        flush_to_disk(new)
        new.replace(region.installed / "current.json")
    finally:
        new.unlink(missing_ok=True)
    flush_to_disk(region.installed)


def install(region: Region, release: dict) -> None:
    releases = region.installed / "releases"
    # The archive has no name on the disk, so that it vanishes however this process ends.
    with tempfile.TemporaryFile(dir=releases) as archive:
        checksum = download(region, release, archive)
        say("Verifying and installing client…")
        if checksum != release["sha256"]:
            raise UpdateError(f"The download of client {release['releaseId']} is damaged.")
        archive.seek(0)
        # Never a folder that exists already, not even for a repair: until current.json changes,
        # all that belongs to the installed game stays as it is.
        folder = Path(tempfile.mkdtemp(prefix=f"{release['releaseId']}-", dir=releases))
        unpack(archive, folder, release)
    flush_to_disk(*folder.rglob("*"), folder, releases)
    description = {field: release[field] for field in INSTALLED_FIELDS}
    replace_current(region, {**description, "folder": folder.name})


def remove_rubbish(region: Region) -> None:
    """Removes older clients and the remains of an installation that did not end well."""
    in_use = installed_client(region).get("folder")
    for folder in (region.installed / "releases").iterdir():
        if folder.name != in_use:
            shutil.rmtree(folder, ignore_errors=True)


# --- The three modes -----------------------------------------------------------------------------


def launcher_offer(arguments: argparse.Namespace) -> str:
    """The launcher's part of the check report; this demo has no launcher builds to offer."""
    packaged = arguments.launcher_bundle and arguments.launcher_version
    return "unconfigured" if packaged else "unpackaged"


def check(region: Region, arguments: argparse.Namespace) -> None:
    release = offered_release(region)
    launcher = launcher_offer(arguments)
    client = "current" if is_current(region, release) else f"available:{release['releaseId']}"
    say(f"UPDATE_CHECK launcher={launcher} client={client} world={release['worldVersion']}")


def update(region: Region) -> None:
    release = offered_release(region)
    if is_current(region, release):
        say(f"Client {release['releaseId']} is current.")
        return
    make_private_folder(region.installed / "releases")
    with locked(region, fcntl.LOCK_EX):
        say(f"Updating to client {release['releaseId']}…")
        remove_rubbish(region)
        try:
            install(region, release)
        finally:
            remove_rubbish(region)
    say(f"Installed client {release['releaseId']}")


def play(region: Region, game_arguments: list[str]) -> int:
    update(region)
    with locked(region, fcntl.LOCK_SH):
        program = game_program(region)
        if not can_be_started(program):
            raise UpdateError("The game is not installed completely.")
        # Said before the game can write anything itself: the line must stand alone.
        say("Starting Tarvex…")
        return run_to_its_end([str(program), *game_arguments])


def run_to_its_end(command: list[str]) -> int:
    """Runs a child; a request to end that reaches this process is passed on to it."""
    child = None
    end_requested = False

    def pass_on(_signal_number, _frame):
        nonlocal end_requested
        end_requested = True
        if child:
            child.terminate()

    handle_end_requests(pass_on)
    child = subprocess.Popen(command)
    if end_requested:  # while the child was being started, too early for pass_on
        child.terminate()
    status = child.wait()
    return status if status >= 0 else 128 - status


# --- The program ---------------------------------------------------------------------------------


def handle_end_requests(handler) -> None:
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(number, handler)


def unwind(signal_number: int, _frame) -> None:
    """Ends this process by an exception, so that every "finally" on the way cleans up."""
    handle_end_requests(signal.SIG_IGN)
    sys.exit(128 + signal_number)


class ArgumentParser(argparse.ArgumentParser):
    def error(self, message: str):
        raise UpdateError(f"The updater was called wrongly: {message}.")


def parse_arguments(words: list[str]) -> argparse.Namespace:
    # All that follows the first "--" is the game's, whatever it looks like.
    end = words.index("--") if "--" in words else len(words)
    parser = ArgumentParser(allow_abbrev=False)
    parser.add_argument("--config", type=Path, required=True)
    parser.add_argument("--region", required=True)
    parser.add_argument("--launcher-bundle")
    parser.add_argument("--launcher-version")
    parser.add_argument("--relaunched-from")
    parser.add_argument("--no-self-update", action="store_true")
    mode = parser.add_mutually_exclusive_group()
    mode.add_argument("--check", action="store_true")
    mode.add_argument("--update-only", action="store_true")
    arguments = parser.parse_args(words[:end])
    arguments.game_arguments = words[end + 1 :]
    return arguments


def sentence_for(error: OSError) -> str:
    if error.errno in (errno.ENOSPC, errno.EDQUOT):
        return "There is not enough free space on the disk."
    files = f"its files in {support_folder()}"
    if error.errno in (errno.EACCES, errno.EPERM, errno.EROFS):
        return f"Tarvex has no permission to use {files}."
    return f"Tarvex cannot use {files} ({error.strerror})."


def run(words: list[str]) -> int:
    arguments = parse_arguments(words)
    region = find_region(arguments.config, arguments.region)
    if arguments.check:
        check(region, arguments)
    elif arguments.update_only:
        update(region)
    else:
        return play(region, arguments.game_arguments)
    return 0


def main() -> int:
    sys.stdout.reconfigure(encoding="utf-8", errors="replace")
    handle_end_requests(unwind)
    try:
        return run(sys.argv[1:])
    except UpdateError as error:
        sentence = str(error)
    except OSError as error:
        sentence = sentence_for(error)
    except Exception as error:  # the player gets a sentence even for a mistake of this program
        sentence = f"The updater failed unexpectedly ({type(error).__name__}: {error})."
    say("Tarvex launcher error: " + " ".join(sentence.split()))
    return 1


if __name__ == "__main__":
    sys.exit(main())
