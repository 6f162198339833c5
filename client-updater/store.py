"""Files, folders and locks. The support folder:

~/Library/Application Support/Tarvex/
    launcher.lock                       held while a launcher is installed
    launcher.json                       the last installed launcher
    client/regions/ID/
        current.json                    the installed client; replacing this file switches to a new one
        lock                            held exclusively to install, shared to play
        releases/RELEASE-HASH/          a folder for each release; only the one in current.json is kept

A release's folder has manifest.json and files/ with all files of the manifest. Until it is complete, it
also has parts/ with unfinished downloads. A file that was verified and synced gets the modification time
SEALED; a later write changes this time, and so breaks the seal.
"""

from __future__ import annotations

import contextlib
import errno
import fcntl
import json
import os
import stat

from release import BLOCK_SIZE, Fault, UpdateError, read_json

SEALED = 1_000_000_000 * 1_000_000_000  # nanoseconds; in 2001, so no download has this time by chance


def support_folder():
    home = os.environ.get("HOME")
    if not home:
        import pwd

        home = pwd.getpwuid(os.getuid()).pw_dir
    return os.path.join(home, "Library/Application Support/Tarvex")


def regions_folder():
    return os.path.join(support_folder(), "client/regions")


def local_path(folder, path):
    """A manifest's path in a folder, with a name in UTF-8 in every locale."""
    return os.path.join(folder, os.fsdecode(path.encode()))


def read_record(path):
    """The JSON object in one of the updater's files; empty when the file is missing or damaged."""
    try:
        with open(path, "rb") as file:
            return read_json(file.read())
    except (OSError, Fault):
        return {}


def make_private_folder(path):
    """Creates a folder and its missing parents, all private. os.makedirs would not make the parents
    private."""
    if not os.path.isdir(path):
        make_private_folder(os.path.dirname(path))
        with contextlib.suppress(FileExistsError):
            os.mkdir(path, 0o700)


def remove(path):
    """Removes a file or a link, or as much of a folder as possible."""
    if os.path.isdir(path) and not os.path.islink(path):
        import shutil

        shutil.rmtree(path, ignore_errors=True)
    else:
        with contextlib.suppress(FileNotFoundError):
            os.unlink(path)


@contextlib.contextmanager
def locked(path, kind, others):
    # A lock needs no right to write, so an installed game can be played from a read-only disk.
    lock = os.open(path, os.O_RDONLY | os.O_CREAT | os.O_CLOEXEC, 0o600)
    try:
        fcntl.flock(lock, kind | fcntl.LOCK_NB)
    except BlockingIOError as error:
        os.close(lock)
        raise UpdateError(f"{others} already. Try again when that has ended.") from error
    yield lock
    # Not after an exception: threads may still be downloading, so the lock is held until the process
    # ends.
    os.close(lock)


def sync(path):
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)


def library_call(name, *arguments):
    """Calls a function of the C library that Python does not provide."""
    import ctypes

    library = ctypes.CDLL(None, use_errno=True)
    if not hasattr(library, name):
        raise OSError(errno.ENOSYS, name)
    if getattr(library, name)(*arguments) != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def sync_disk_of(path):
    """Syncs the whole disk of a folder. For thousands of files, this is faster than one by one."""
    descriptor = os.open(path, os.O_RDONLY)
    try:
        library_call("syncfs", descriptor)
    except OSError as error:
        if error.errno != errno.ENOSYS:
            raise
        os.sync()
    finally:
        os.close(descriptor)


def replace_record(path, value):
    """Replaces a file in one step: a reader finds the old value or the new one, also after a crash."""
    with open(path + ".new", "w", encoding="ascii") as file:
        json.dump(value, file, indent=1)
        file.flush()
        os.fsync(file.fileno())
    os.replace(path + ".new", path)
    sync(os.path.dirname(path))


def exchange(one, other):
    """Swaps two names in one step. Returns False if the system or the disk does not support that."""
    at_working_directory, exchange_both = -100, 2  # AT_FDCWD and RENAME_EXCHANGE
    try:
        library_call("renameat2", at_working_directory, os.fsencode(one),
                     at_working_directory, os.fsencode(other), exchange_both)
        return True
    except OSError as error:
        if error.errno not in (errno.ENOSYS, errno.EINVAL):
            raise
        return False


# --- Files of a release --------------------------------------------------------------------------


def has_size(path, size):
    with contextlib.suppress(OSError):
        status = os.lstat(path)
        return stat.S_ISREG(status.st_mode) and status.st_size == size
    return False


def is_whole(path, content, trust_seal=True):
    """Whether a file has the content of the object, by its seal or its hash."""
    with contextlib.suppress(OSError):
        if not has_size(path, content.size):
            return False
        if trust_seal and os.lstat(path).st_mtime_ns == SEALED:
            return True
        with open(path, "rb") as file:
            return digest_of(file) == content.sha256
    return False


def digest_of(file):
    from hashlib import sha256

    digest = sha256()
    while block := file.read(BLOCK_SIZE):
        digest.update(block)
    return digest.hexdigest()


def link_or_copy(source, target, content, scratch, may_link):
    """Makes target a link to source, or a verified copy, which is first written to scratch. Returns
    whether that succeeded."""
    if may_link:
        with contextlib.suppress(OSError):  # after any failure, such as a disk without links, copy
            os.link(source, target)
            return True
    import shutil

    try:
        shutil.copyfile(source, scratch)
    except FileNotFoundError:
        return False
    if not is_whole(scratch, content, trust_seal=False):
        return False
    os.replace(scratch, target)
    return True


def seal(path, mode):
    if stat.S_IMODE(os.lstat(path).st_mode) != mode:
        os.chmod(path, mode)
    if os.lstat(path).st_mtime_ns != SEALED:
        os.utime(path, ns=(SEALED, SEALED))
