"""The configuration, the description of the releases and the manifests as values, and the decisions about
them. This module uses neither the network nor the disk. It does not trust its input: every reading
function raises a Fault with the reason if the input is invalid.

The description in release.json names a release for each region, and one launcher for all regions. Its
counter grows with each publication, also when an earlier release is offered again. A manifest has one
entry for each file, and the command that starts the game. Manifests and files are objects: their names
on the server are the SHA-256 of their content. An object with the suffix ".z" is compressed by zlib.
"""

from __future__ import annotations

import json
import re
from collections import namedtuple
from urllib.parse import urlsplit

DESCRIPTION = "release.json"
MAX_DESCRIPTION = 1 << 20  # bytes
MAX_MANIFEST = 32 << 20
MAX_SIZE = 1 << 50
BLOCK_SIZE = 1 << 16  # bytes read at once; larger blocks are not faster

# The launcher rejects a check report in which a release, a world or a version has another form.
REGION_ID = r"[a-z][a-z0-9-]{0,31}"
RELEASE_ID = r"[A-Za-z0-9][A-Za-z0-9._-]{0,63}"
VERSION = r"[0-9a-f]{16}"
WORLD = r"[0-9]{1,9}\.[0-9]{1,9}\.[0-9]{1,9}\.[0-9a-f]{12}"
SHA256 = r"[0-9a-f]{64}"
PUBLIC_KEY = r"RW[A-Za-z0-9+/]{54}"

# Names of devices on some systems, with any extension.
DEVICES = {"con", "prn", "aux", "nul", "clock$", "conin$", "conout$"}
DEVICES |= {name + digit for name in ("com", "lpt") for digit in "0123456789¹²³"}


class UpdateError(Exception):
    """A failure whose text is a sentence for the player. The log also gets its cause."""


class Fault(Exception):
    """Invalid input. The text is the reason, for the log."""


class Object(namedtuple("Object", "sha256 size packed")):
    """packed: the compressed size on the server, or None if the object is not compressed."""

    name = property(lambda self: f"objects/{self.sha256[:2]}/{self.sha256}" + ".z" * self.is_packed)
    is_packed = property(lambda self: self.packed is not None)
    wire_size = property(lambda self: self.packed if self.is_packed else self.size)


# path: text with "/" between names; executable: whether its owner may run it
File = namedtuple("File", "path executable object")
Manifest = namedtuple("Manifest", "files command")
# release: the description of a client, with the members of current.json; launcher: its version
Offer = namedtuple("Offer", "counter release manifest launcher launcher_manifest")
Config = namedtuple("Config", "region_name releases public_keys connections timeout offline_play")


# --- Reading -------------------------------------------------------------------------------------


def read_json(data):
    try:
        value = json.loads(data)
    except (ValueError, RecursionError) as error:
        raise Fault(f"no JSON ({error})") from error
    if not isinstance(value, dict):
        raise Fault("no JSON object")
    return value


def member(value, name, kind):
    """A required member. kind is a type, a regular expression for strings, or the largest number."""
    found = value.get(name) if isinstance(value, dict) else None
    if isinstance(kind, str):
        fits = isinstance(found, str) and re.fullmatch(kind, found)
    elif isinstance(kind, int):
        fits = type(found) is int and 0 <= found <= kind
    else:
        fits = is_text(found) if kind is str else type(found) is kind
    if not fits:
        raise Fault(f"no valid “{name}”: {found!r:.200}")
    return found


def is_text(value):
    """Whether it can be a name or an argument. JSON strings may have NUL and lone surrogates."""
    return isinstance(value, str) and not re.search("[\0\ud800-\udfff]", value)


def read_object(value, max_size):
    size = member(value, "size", max_size)
    # Objects are compressed only if that makes them smaller, so size is the limit for packed.
    packed = member(value, "packed", size) if "packed" in value else None
    return Object(member(value, "sha256", SHA256), size, packed)


def read_config(data, region_id):
    value = read_json(data)
    names = {member(region, "id", REGION_ID): member(region, "name", str)
             for region in member(value, "regions", list)}
    if region_id not in names:
        raise Fault(f"no region “{region_id}”")
    keys = value.get("publicKey", ())
    keys = (keys,) if isinstance(keys, str) else keys
    if "publicKey" in value and not (isinstance(keys, (list, tuple)) and keys):
        raise Fault("no valid “publicKey”")
    for key in keys:
        member({"publicKey": key}, "publicKey", PUBLIC_KEY)
    releases = member(value, "releases", str)
    if "://" in releases and not may_ask(releases, bool(keys)):
        raise Fault("“releases” is neither a folder nor https (http needs a “publicKey”)")
    settings = {"connections": 4, "timeoutSeconds": 20, **value}
    return Config(names[region_id], releases, keys, max(1, member(settings, "connections", 32)),
                  max(1, member(settings, "timeoutSeconds", 600)),
                  value.get("offlinePlay") is True)


def may_ask(address, has_key, asked_before=None):
    """Whether a request to an address is allowed. http is allowed only on this computer or with a key
    for signatures, and never after a redirect from https."""
    try:
        parts = urlsplit(address)
        is_valid = parts.hostname and "@" not in parts.netloc and parts.port != 0
    except ValueError:  # from the port
        return False
    if not is_valid or parts.scheme == "https":
        return bool(is_valid)
    was_secret = asked_before is not None and urlsplit(asked_before).scheme == "https"
    return parts.scheme == "http" and not was_secret and (has_key or is_loopback(parts.hostname))


def is_loopback(host):
    return host in ("localhost", "::1") or bool(re.fullmatch(r"127(\.\d{1,3}){3}", host))


def read_description(data, region_id):
    value = read_json(data)
    regions = member(value, "regions", dict)
    offer = Offer(member(value, "counter", MAX_SIZE), None, None, None, None)
    if region_id in regions:
        entry = regions[region_id]
        manifest = read_object(member(entry, "manifest", dict), MAX_MANIFEST)
        forms = {"releaseId": RELEASE_ID, "sourceRevision": RELEASE_ID,
                 **({"worldVersion": WORLD} if "worldVersion" in entry else {})}
        said = {name: member(entry, name, form) for name, form in forms.items()}
        offer = offer._replace(release={**said, "manifest": manifest.sha256}, manifest=manifest)
    if "launcher" in value:
        manifest = read_object(member(value["launcher"], "manifest", dict), MAX_MANIFEST)
        offer = offer._replace(launcher=member(value["launcher"], "version", VERSION),
                               launcher_manifest=manifest)
    return offer


def read_manifest(data):
    value = read_json(data)
    files = []
    for entry in member(value, "files", list):
        path = member(entry, "path", str)
        if fault := path_fault(path):
            raise Fault(f"the path {path[:200]!r} {fault}")
        mode = member(entry, "mode", "644|755")
        files.append(File(path, mode == "755", read_object(entry, MAX_SIZE)))
    if len({file.object for file in files}) != len({file.object.sha256 for file in files}):
        raise Fault("a hash with two sizes")
    if twins := find_twins([file.path for file in files]):
        raise Fault("the paths {!r} and {!r} are one on some disks".format(*twins))
    command = value.get("command", [])
    if not isinstance(command, list) or not all(map(is_text, command)):
        raise Fault("no valid “command”")
    if command and not any(file.path == command[0] and file.executable for file in files):
        raise Fault("the command is none of the executable files")
    return Manifest(files, command)


def path_fault(path):
    """The reason why a file of a release cannot have this path; None when it can."""
    if re.search("[\ud800-\udfff]", path):  # from bytes on the disk that are not UTF-8
        return "is not Unicode"
    if len(path.encode()) > 1024 or path.count("/") > 64:
        return "is too long"
    for name in path.split("/"):
        if name in ("", ".", ".."):
            return "could leave its folder"
        if re.search(r'[\x00-\x1f\x7f\\:*?"<>|]', name):
            return "has a character that not every disk takes"
        if name[-1] in " ." or len(name.encode()) > 255:
            return "has a name that not every disk takes"
        if name.split(".")[0].rstrip().lower() in DEVICES:
            return "names a device"
    return None


def find_twins(paths):
    """Two paths that are the same on some disks, because they differ only in case or in the form of
    Unicode, or because one is a folder of the other; None when there are no such paths."""
    from unicodedata import normalize  # late: a check does not need its tables

    known = {}  # by the normalized path: the path as it is written, and whether it is a folder
    for path in paths:
        names = path.split("/")
        for depth in range(1, len(names) + 1):
            written = ("/".join(names[:depth]), depth < len(names))
            seen = normalize("NFKC", normalize("NFKC", written[0]).casefold())
            is_new = seen not in known
            if not is_new and (known[seen] != written or not written[1]):
                return known[seen][0], path
            known[seen] = written
    return None


# --- Deciding ------------------------------------------------------------------------------------


def is_older(offer_counter, installed):
    """Whether an offer was published before the installed release: an outdated copy from a cache, or an
    attack. When an operator offers an earlier release again, it gets a new counter."""
    counter = installed.get("counter")
    return type(counter) is int and offer_counter < counter


def is_same(release, installed):
    return all(installed.get(name) == release.get(name)
               for name in ("releaseId", "sourceRevision", "worldVersion", "manifest"))


def launcher_part(offer, records, version, relaunched_from, may_replace):
    """The launcher's part of the check report. records: those of the last installed launcher
    and client; version: that of the running launcher, None when it is not packaged."""
    if version is None:
        return "unpackaged"
    if offer.launcher is None:
        return "unconfigured"
    if not may_replace or any(is_older(offer.counter, record) for record in records):
        return "unknown"
    # If the offered version has just started this one, it must not be offered: the two launchers would
    # replace each other for ever.
    if offer.launcher in (version, relaunched_from):
        return "current"
    return f"available:{offer.launcher}"


def percent(done, total):
    return min(100, 100 * done // total) if total else 100
