"""Copies an operator's resources into a bundle, then each default file that the operator does not replace.
Prints a line for each fault that makes the package unusable, and then exits with 1.

    resources.py FOLDER TARGET CHECK_UPDATER [FILE...]

FOLDER has the operator's resources, TARGET is the bundle's Contents/Resources, and each FILE is a default.
"""

import configparser
import os
import shutil
import stat
import struct
import subprocess
import sys
import tempfile
import zlib
from pathlib import Path
from xml.etree import ElementTree

sys.dont_write_bytecode = True
sys.path.append(str(Path(__file__).resolve().parents[1] / "client-updater"))

from release import find_twins, path_fault

NAME = "com.tarvex.launcher"


# --- Files ---------------------------------------------------------------------------------------


def fault_of(path, top):
    """The reason why a package cannot contain this file or folder; None when it can."""
    try:
        target, mode = path.resolve(strict=True), path.stat().st_mode
    except (OSError, RuntimeError):  # before Python 3.13, a loop of links is a RuntimeError
        return "leads nowhere"
    if not target.is_relative_to(top):
        return "leads out of the folder"
    if target in [parent.resolve() for parent in path.parents]:
        return "leads to a folder that it lies in"
    is_folder = stat.S_ISDIR(mode)
    if not is_folder and not stat.S_ISREG(mode):
        return "is neither a file nor a folder"
    # Root may read every file, and would pack files that players cannot read.
    if not mode & stat.S_IRUSR or not os.access(path, os.R_OK | (os.X_OK if is_folder else 0)):
        return "cannot be read"
    return path_fault(path.relative_to(top).as_posix())


def collect(top):
    """All files of the folder, and the faults. A link is replaced by its target, because the target
    does not exist on a player's computer."""
    files, faults = [], []
    for place, folders, names in os.walk(top, followlinks=True):
        for path in sorted(Path(place, name) for name in folders + names):
            if path.name == "__pycache__":  # never used, and different after each run
                fault = ""
            elif (fault := fault_of(path, top)) is None:
                if path.is_file():
                    files.append(path.relative_to(top).as_posix())
                continue
            if fault:
                faults.append(f"{str(path.relative_to(top))!r} {fault}")
            if path.name in folders:
                folders.remove(path.name)
    if twins := find_twins(files):
        faults.append("{!r} and {!r} are one on some disks".format(*twins))
    return files, faults


def copy(source, target):
    target.parent.mkdir(parents=True, exist_ok=True)
    shutil.copyfile(source, target)
    target.chmod(0o755 if os.access(source, os.X_OK) else 0o644)


# --- Contents ------------------------------------------------------------------------------------


def is_svg(data):
    return ElementTree.fromstring(data).tag == "{http://www.w3.org/2000/svg}svg"


def is_png_of_48(data):
    position, kind, pixels = 8, None, b""
    while kind != b"IEND":
        length, kind = struct.unpack_from(">I4s", data, position)
        body = data[position + 8:position + 8 + length]
        if struct.unpack_from(">I", data, position + 8 + length) != (zlib.crc32(kind + body),):
            return False
        pixels += body if kind == b"IDAT" else b""
        position += 12 + length
    width, height, bits, colours = struct.unpack_from(">IIBB", data, 16)
    row = 1 + width * bits * {0: 1, 2: 3, 3: 1, 4: 2, 6: 4}[colours] // 8
    return (data.startswith(b"\x89PNG\r\n\x1a\n") and (width, height) == (48, 48)
            and len(zlib.decompress(pixels)) >= height * row)


def is_entry(data):
    parser = configparser.RawConfigParser(delimiters="=", comment_prefixes="#")
    parser.optionxform = str  # keys are case-sensitive
    parser.read_string(data.decode())
    entry = parser["Desktop Entry"]
    # The installer looks for "Exec=", without the spaces that the format allows.
    return entry["Type"] == "Application" and entry["Name"] and b"\nExec=" in data


def is_metainfo(data):
    component = ElementTree.fromstring(data)
    return component.tag == "component" and component.findtext("id") and component.findtext("name")


INSTALLED = {  # files that the installer copies into the desktop's folders
    f"{NAME}.svg": (is_svg, "an SVG image"),
    f"{NAME}-48.png": (is_png_of_48, "a PNG image of 48 by 48 pixels"),
    f"{NAME}.desktop": (is_entry, "a desktop entry of an application, with a Name and an Exec"),
    f"{NAME}.metainfo.xml": (is_metainfo, "AppStream metadata with an id and a name"),
}


def faults_of_contents(resources):
    for name, (is_it, kind) in INSTALLED.items():
        try:
            is_good = is_it((resources / name).read_bytes())
        except Exception:  # there are many ways in which a file can be damaged
            is_good = False
        if not is_good:
            yield f"{name!r} is not {kind}"
    for path in sorted(resources.rglob("*.py")):
        try:
            compile(path.read_bytes(), path.name, "exec", dont_inherit=True)
        except (SyntaxError, ValueError) as error:
            yield f"{path.relative_to(resources).as_posix()!r} does not compile: {error}"


def faults_of_updater(resources, *check_updater):
    """The faults that check-updater finds in the catalogue and in a check."""
    with tempfile.TemporaryDirectory() as folder:  # the updater may write into its own folder
        tried = Path(folder, "resources")
        shutil.copytree(resources, tried)
        run = subprocess.run([*check_updater, "--quiet", tried], capture_output=True)
    said = (run.stdout + run.stderr).decode(errors="replace").replace(f"{tried}/", "").splitlines()
    if run.returncode == 0:
        for line in said:
            print(line, file=sys.stderr)
        return []
    return said or [f"check-updater has ended with the status {run.returncode}"]


def put(folder, target, *check_updater, ours=()):
    """Returns the faults."""
    top = folder.resolve()
    files, faults = collect(top)
    for name in files:
        copy(top / name, target / name)
    for path in ours:
        if not (target / path.name).exists():
            copy(path, target / path.name)
    return [*faults, *faults_of_contents(target), *faults_of_updater(target, *check_updater)]


if __name__ == "__main__":
    folder, target, check_updater, *ours = map(Path, sys.argv[1:])
    faults = put(folder, target, check_updater, ours=ours)
    print("".join(f"{fault}\n" for fault in faults), end="")
    sys.exit(1 if faults else 0)
