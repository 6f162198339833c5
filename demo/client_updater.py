#!/usr/bin/python3
"""Checks for, installs and starts the Tarvex client on behalf of the launcher.

    client_updater.py --config FILE --region ID
                      [--launcher-bundle FOLDER --launcher-version VERSION]
                      [--relaunched-from VERSION] [--no-self-update]
                      [--check | --update-only | -- GAME ARGUMENT...]

    --check        says in one UPDATE_CHECK line what could be updated; changes nothing
    --update-only  brings the launcher up to date, or else the client
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

RELEASES/launcher/, when there is one, holds launcher.json and the archive of a launcher bundle. It
is unpacked beside the launcher's own bundle, NAME.app, as NAME.app.new; swapping the two is the one
step that switches over. The old one goes to NAME.app.old, which the next launcher deletes when it
starts. The launcher that reads "Installed launcher" and exit status 0 starts the new one and ends;
what else there is to update is left to the new one, which brings an updater of its own.
"""

from __future__ import annotations

import argparse
import contextlib
import ctypes
import errno
import fcntl
import gzip
import hashlib
import json
import os
import plistlib
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

# The text fields of release.json and launcher.json, each with the form that its whole value must
# have. The launcher rejects a check report whose release, world or version does not look like this.
ARCHIVE_FIELDS = {
    "archive": r"[A-Za-z0-9][A-Za-z0-9._-]*",
    "sha256": r"[0-9a-f]{64}",
}
RELEASE_FIELDS = ARCHIVE_FIELDS | {
    "releaseId": r"[A-Za-z0-9][A-Za-z0-9._-]{0,63}",
    "sourceRevision": r"[0-9a-f]{40}",
    "worldVersion": r"[0-9]{1,9}\.[0-9]{1,9}\.[0-9]{1,9}\.[0-9a-f]{12}",
}
LAUNCHER_FIELDS = ARCHIVE_FIELDS | {"version": r"[0-9a-f]{16}"}

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


class Download(NamedTuple):
    product: str  # "client" or "launcher"
    version: str
    folder: Path
    description: dict  # of the archive in the folder
    seconds: float

    def __str__(self) -> str:
        return f"{self.product} {self.version}"


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


def read_description(path: Path, fields: dict[str, str], name: str) -> dict:
    try:
        description = read_object(path)
    except FileNotFoundError as error:
        raise UpdateError(f"No release is offered for {name}.") from error
    except (OSError, ValueError) as error:
        raise UpdateError(f"The release of {name} has no readable description.") from error
    texts_fit = all(
        isinstance(description.get(field), str) and re.fullmatch(form, description[field])
        for field, form in fields.items()
    )
    size = description.get("size")
    if not texts_fit or type(size) is not int or size <= 0:
        raise UpdateError(f"The release of {name} is described wrongly.")
    return description


def offered_release(region: Region) -> dict:
    return read_description(region.offered / "release.json", RELEASE_FIELDS, region.name)


def launcher_description(region: Region) -> Path:
    return region.offered.with_name("launcher") / "launcher.json"


def offered_launcher(region: Region) -> dict:
    return read_description(launcher_description(region), LAUNCHER_FIELDS, "the launcher")


def launcher_offer(region: Region, arguments: argparse.Namespace) -> str:
    """The launcher's part of the check report."""
    if not arguments.launcher_bundle or not arguments.launcher_version:
        return "unpackaged"
    if not launcher_description(region).exists():
        return "unconfigured"
    may_replace = os.access(Path(arguments.launcher_bundle).parent, os.W_OK)
    if arguments.no_self_update or not may_replace:
        return "unknown"
    try:
        version = offered_launcher(region)["version"]
    except UpdateError as error:
        say(f"The launcher stays as it is. {error}")  # for the log: this keeps nobody from playing
        return "unknown"
    # A launcher that was started by the offered version must not go back to it, or the two would
    # take turns for ever.
    if version in (arguments.launcher_version, arguments.relaunched_from):
        return "current"
    return f"available:{version}"


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


def remove(path: Path) -> None:
    """Removes a file, a link or a folder as far as it can be removed."""
    if path.is_dir() and not path.is_symlink():
        shutil.rmtree(path, ignore_errors=True)
    else:
        path.unlink(missing_ok=True)


@contextlib.contextmanager
def locked(path: Path, kind: int, others: str):
    # A lock needs no right to write, so an installed game can be played from a read-only disk.
    lock = os.open(path, os.O_RDONLY | os.O_CREAT, 0o600)
    try:
        try:
            fcntl.flock(lock, kind | fcntl.LOCK_NB)
        except BlockingIOError as error:
            raise UpdateError(f"{others} already. Try again when that has ended.") from error
        yield
    finally:
        os.close(lock)


def locked_region(region: Region, kind: int):
    others = f"{region.name} is being updated or played"
    return locked(region.installed / "lock", kind, others)


def flush_to_disk(*paths: Path) -> None:
    for path in paths:
        descriptor = os.open(path, os.O_RDONLY)
        try:
            os.fsync(descriptor)
        finally:
            os.close(descriptor)


def copy_archive(download: Download, target) -> str:
    """Copies the archive to target and returns its SHA-256."""
    try:
        source = open(download.folder / download.description["archive"], "rb")
    except OSError as error:
        raise UpdateError(f"The archive of {download} cannot be downloaded.") from error
    size, copied, shown = download.description["size"], 0, -1
    digest = hashlib.sha256()
    with source:
        while copied <= size and (block := source.read(BLOCK_SIZE)):
            target.write(block)
            digest.update(block)
            copied += len(block)
            percent = min(100 * copied // size, 100)
            if percent > shown:
                say(f"Downloading {download.product}: {percent}%")
                shown = percent
            # A local copy would be over before anybody could see the bar move.
            time.sleep(download.seconds * len(block) / size)
    if copied != size:
        raise UpdateError(f"The download of {download} has the wrong size.")
    return digest.hexdigest()


@contextlib.contextmanager
def downloaded(download: Download, folder: Path):
    """The archive as a file, once it has proved to be what was published."""
    # It has no name on the disk, so that it vanishes however this process ends.
    with tempfile.TemporaryFile(dir=folder) as archive:
        checksum = copy_archive(download, archive)
        say(f"Verifying and installing {download.product}…")
        if checksum != download.description["sha256"]:
            raise UpdateError(f"The download of {download} is damaged.")
        archive.seek(0)
        yield archive


def unpack(archive, folder: Path, download: Download) -> None:
    """Takes names, contents and the right to execute from the archive, and nothing else."""
    try:
        with tarfile.open(fileobj=archive, mode="r:gz") as members:
            for member in members:
                path = PurePosixPath(member.name)
                stays_inside = not path.is_absolute() and ".." not in path.parts
                if not stays_inside or not (member.isfile() or member.isdir()):
                    raise UpdateError(
                        f"The archive of {download} contains the unsafe entry “{member.name}”."
                    )
                if member.isdir():
                    make_private_folder(folder / path)
                    continue
                make_private_folder((folder / path).parent)
                with open(folder / path, "xb") as target:
                    shutil.copyfileobj(members.extractfile(member), target)
                (folder / path).chmod(0o700 if member.mode & 0o100 else 0o600)
    except (tarfile.TarError, gzip.BadGzipFile, zlib.error, EOFError) as error:
        raise UpdateError(f"The archive of {download} cannot be unpacked.") from error


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
    seconds = region.download_seconds
    download = Download("client", release["releaseId"], region.offered, release, seconds)
    with downloaded(download, releases) as archive:
        # Never a folder that exists already, not even for a repair: until current.json changes,
        # all that belongs to the installed game stays as it is.
        folder = Path(tempfile.mkdtemp(prefix=f"{download.version}-", dir=releases))
        unpack(archive, folder, download)
    if not can_be_started(folder / GAME):
        raise UpdateError(f"The archive of {download} does not contain the game.")
    flush_to_disk(*folder.rglob("*"), folder, releases)
    description = {field: release[field] for field in INSTALLED_FIELDS}
    replace_current(region, {**description, "folder": folder.name})


def remove_rubbish(region: Region) -> None:
    """Removes older clients and the remains of an installation that did not end well."""
    in_use = installed_client(region).get("folder")
    for folder in (region.installed / "releases").iterdir():
        if folder.name != in_use:
            shutil.rmtree(folder, ignore_errors=True)


# --- Replacing the launcher ----------------------------------------------------------------------


def is_launcher(bundle: Path, version: str) -> bool:
    try:
        information = plistlib.loads((bundle / "Contents/Info.plist").read_bytes())
        program = bundle / "Contents/Linux" / information["CFBundleExecutable"]
        return information["CFBundleVersion"] == version and can_be_started(program)
    except Exception:  # there are many ways in which a property list can be damaged
        return False


def exchange(one: Path, other: Path) -> bool:
    """Swaps two names in one step; false where the system or the disk cannot do that."""
    at_working_directory, exchange_both = -100, 2  # AT_FDCWD and RENAME_EXCHANGE
    try:
        renameat2 = ctypes.CDLL(None, use_errno=True).renameat2
    except AttributeError:
        return False
    names = [ctypes.c_char_p(os.fsencode(path)) for path in (one, other)]
    if renameat2(at_working_directory, names[0], at_working_directory, names[1], exchange_both) == 0:
        return True
    error = ctypes.get_errno()
    if error in (errno.ENOSYS, errno.EINVAL):
        return False
    raise OSError(error, os.strerror(error), str(one), None, str(other))


def put_in_place(new: Path, bundle: Path) -> None:
    """Gives the new bundle the place, and retires the old one. Whenever this process is killed, a
    whole bundle is at the place."""
    retired = bundle.with_name(bundle.name + ".old")
    remove(retired)
    if exchange(new, bundle):
        with contextlib.suppress(OSError):  # then it goes with what else is left of the update
            new.rename(retired)
        return
    # Two steps, for a moment without a bundle: here only a kill at that moment does harm.
    try:
        bundle.rename(retired)
        new.rename(bundle)
    except BaseException:
        if not bundle.exists():
            retired.rename(bundle)
        raise


def install_launcher(download: Download, bundle: Path) -> None:
    new = bundle.with_name(bundle.name + ".new")
    remove(new)  # of an update that was killed
    try:
        with downloaded(download, bundle.parent) as archive:
            unpack(archive, new, download)
        if not is_launcher(new, download.version):
            raise UpdateError(f"The archive of {download} does not contain that launcher.")
        # As open to other users as the bundle that it replaces.
        access = bundle.stat().st_mode & 0o777
        for path in (*new.rglob("*"), new):
            path.chmod(access if path.stat().st_mode & 0o100 else access & 0o666)
        flush_to_disk(*new.rglob("*"), new)
        put_in_place(new, bundle)
    finally:
        remove(new)
    flush_to_disk(bundle.parent)


def update_launcher(region: Region, arguments: argparse.Namespace) -> bool:
    """Whether there was a new launcher, which is installed now."""
    if not launcher_offer(region, arguments).startswith("available:"):
        return False
    offered = offered_launcher(region)
    folder = launcher_description(region).parent
    seconds = region.download_seconds
    download = Download("launcher", offered["version"], folder, offered, seconds)
    make_private_folder(support_folder())
    lock = support_folder() / "launcher.lock"
    with locked(lock, fcntl.LOCK_EX, "The launcher is being updated"):
        say(f"Updating launcher to {download.version}…")
        install_launcher(download, Path(arguments.launcher_bundle))
    say(f"Installed launcher {download.version}. Restarting…")
    return True


# --- The three modes -----------------------------------------------------------------------------


def check(region: Region, arguments: argparse.Namespace) -> None:
    release = offered_release(region)
    launcher = launcher_offer(region, arguments)
    client = "current" if is_current(region, release) else f"available:{release['releaseId']}"
    say(f"UPDATE_CHECK launcher={launcher} client={client} world={release['worldVersion']}")


def update(region: Region) -> None:
    release = offered_release(region)
    if is_current(region, release):
        say(f"Client {release['releaseId']} is current.")
        return
    make_private_folder(region.installed / "releases")
    with locked_region(region, fcntl.LOCK_EX):
        say(f"Updating to client {release['releaseId']}…")
        remove_rubbish(region)
        try:
            install(region, release)
        finally:
            remove_rubbish(region)
    say(f"Installed client {release['releaseId']}")


def play(region: Region, game_arguments: list[str]) -> int:
    update(region)
    with locked_region(region, fcntl.LOCK_SH):
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
    files = error.filename or f"its files in {support_folder()}"
    if error.errno in (errno.EACCES, errno.EPERM, errno.EROFS):
        return f"Tarvex has no permission to use {files}."
    return f"Tarvex cannot use {files} ({error.strerror})."


def run(words: list[str]) -> int:
    arguments = parse_arguments(words)
    region = find_region(arguments.config, arguments.region)
    if arguments.check:
        check(region, arguments)
    elif update_launcher(region, arguments):
        pass  # the new launcher goes on from here
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
