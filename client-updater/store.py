"""Files, folders and locks: how things come to the disk and lie there.

~/Library/Application Support/Tarvex/
    launcher.lock, launcher.json        held while a launcher is installed; the one installed last
    client/regions/ID/
        current.json                    the installed client; replacing it is the one step that
                                        switches over
        lock                            held exclusively to install, shared to play
        releases/RELEASE-HASH/          a folder a release; what current.json does not name is rubbish

A release's folder has manifest.json, files/ with all files of the manifest, and, while it is not
complete, parts/ with the downloads that are under way. A file that has been verified and synced is
given the time SEALED: whoever writes to it later breaks the seal.
"""

from __future__ import annotations

import contextlib
import errno
import fcntl
import json
import os
import stat

from release import BLOCK_SIZE, Fault, UpdateError, read_json

SEALED = 1_000_000_000 * 1_000_000_000  # in nanoseconds; a day in 2001 on which nobody downloads


def support_folder():
    home = os.environ.get("HOME")
    if not home:
        import pwd

        home = pwd.getpwuid(os.getuid()).pw_dir
    return os.path.join(home, "Library/Application Support/Tarvex")


def regions_folder():
    return os.path.join(support_folder(), "client/regions")


def local_path(folder, path):
    """A manifest's path in a folder, whatever encoding of names the locale asks for."""
    return os.path.join(folder, os.fsdecode(path.encode()))


def read_record(path):
    """A file of ours with a JSON object; empty when it is missing or damaged."""
    try:
        with open(path, "rb") as file:
            return read_json(file.read())
    except (OSError, Fault):
        return {}


def make_private_folder(path):
    """Unlike os.makedirs, keeps the parents that it has to create private too."""
    if not os.path.isdir(path):
        make_private_folder(os.path.dirname(path))
        with contextlib.suppress(FileExistsError):
            os.mkdir(path, 0o700)


def remove(path):
    """Removes a file, a link or a folder as far as it can be removed."""
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
    yield
    # Not when something was raised: then downloads may still be ending, and the lock with the process.
    os.close(lock)


def sync(path):
    descriptor = os.open(path, os.O_RDONLY)
    try:
        os.fsync(descriptor)
    finally:
        os.close(descriptor)


def library_call(name, *arguments):
    """A function of the C library that Python does not offer."""
    import ctypes

    library = ctypes.CDLL(None, use_errno=True)
    if not hasattr(library, name):
        raise OSError(errno.ENOSYS, name)
    if getattr(library, name)(*arguments) != 0:
        raise OSError(ctypes.get_errno(), os.strerror(ctypes.get_errno()))


def sync_disk_of(path):
    """All that was written to the disk of a folder: for thousands of files faster than one by one."""
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
    """Whoever reads, also after a crash, finds the old value or the new one."""
    with open(path + ".new", "w", encoding="ascii") as file:
        json.dump(value, file, indent=1)
        file.flush()
        os.fsync(file.fileno())
    os.replace(path + ".new", path)
    sync(os.path.dirname(path))


def exchange(one, other):
    """Swaps two names in one step; False where the system or the disk cannot do that."""
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
    """Whether target is the same file as source now, or a verified copy, made in the file scratch."""
    if may_link:
        with contextlib.suppress(OSError):  # not every disk has links; some other may be the reason
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
