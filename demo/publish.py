#!/usr/bin/python3
"""Makes the release folders from which the demo's client_updater.py installs.

For each region of the configuration OUT/<region id>/ gets a gzipped tar archive with the game and
some content of the region's own, and release.json, which describes the archive. OUT/launcher/ gets
the same for a launcher bundle, with launcher.json. The same input gives the same bytes.
"""

from __future__ import annotations

import argparse
import gzip
import hashlib
import io
import json
import plistlib
import sys
import tarfile
from pathlib import Path

# Region id: the release that is offered there, and the version of its world.
RELEASES = {
    "aurora-reach": ("2026.11.1", "1.4.2"),
    "mossgate": ("2026.10.3", "1.4.1"),
    "skogarljos": ("2026.12.0-preview", "1.5.0"),
}
CONTENT_SIZE = 1024 * 1024


def pack(files: dict[str, tuple[int, bytes]]) -> bytes:
    """A gzipped tar archive of files, given by name with mode and content."""
    tarred = io.BytesIO()
    with tarfile.open(fileobj=tarred, mode="w") as archive:
        for name, (mode, content) in sorted(files.items()):
            # A fresh TarInfo has the owner 0 and the time 0, which keeps the archive reproducible.
            member = tarfile.TarInfo(name)
            member.mode = mode
            member.size = len(content)
            archive.addfile(member, io.BytesIO(content))
    return gzip.compress(tarred.getvalue(), mtime=0)


def publish(folder: Path, description_name: str, description: dict, archive: bytes) -> None:
    description["size"] = len(archive)
    description["sha256"] = hashlib.sha256(archive).hexdigest()
    folder.mkdir(parents=True, exist_ok=True)
    (folder / description["archive"]).write_bytes(archive)
    # Last and in one step: an updater that looks meanwhile finds the old release or the new one.
    new = folder / "description.new"
    new.write_text(json.dumps(description, indent=2) + "\n", encoding="utf-8")
    new.replace(folder / description_name)


def publish_client(out: Path, region_id: str, release_id: str, world: str, game: bytes) -> None:
    seed = f"{region_id} {release_id}".encode()
    revision = hashlib.sha1(seed).hexdigest()
    # Random-looking content does not shrink, so the download has something to show.
    content = hashlib.shake_256(seed).digest(CONTENT_SIZE)
    archive = pack({"tarvex-game": (0o755, game), "region.dat": (0o644, content)})
    description = {
        "releaseId": release_id,
        "sourceRevision": revision,
        "worldVersion": f"{world}.{revision[:12]}",
        "archive": f"tarvex-{release_id}.tar.gz",
    }
    publish(out / region_id, "release.json", description, archive)


def publish_launcher(out: Path, bundle: Path) -> None:
    version = plistlib.loads((bundle / "Contents/Info.plist").read_bytes())["CFBundleVersion"]
    files = {
        str(path.relative_to(bundle)): (path.stat().st_mode & 0o777, path.read_bytes())
        for path in bundle.rglob("*")
        if path.is_file()
    }
    description = {"version": version, "archive": f"tarvex-launcher-{version}.tar.gz"}
    publish(out / "launcher", "launcher.json", description, pack(files))


def main() -> None:
    parser = argparse.ArgumentParser(description=__doc__)
    default_config = Path(__file__).with_name("launcher-config.json")
    parser.add_argument("--config", type=Path, default=default_config)
    parser.add_argument("--game", type=Path, help="the game to publish for the regions")
    parser.add_argument("--launcher", type=Path, help="the launcher bundle to publish")
    parser.add_argument("--out", type=Path, required=True, help="the folder of the release folders")
    parser.add_argument("--region", help="publish for this region only")
    parser.add_argument("--release", help="publish under this release id, not the usual one")
    arguments = parser.parse_args()
    if not arguments.game and not arguments.launcher:
        parser.error("nothing to publish: give --game, --launcher or both")

    if arguments.launcher:
        publish_launcher(arguments.out, arguments.launcher)
    if not arguments.game:
        return
    regions = [region["id"] for region in json.loads(arguments.config.read_bytes())["regions"]]
    chosen = [arguments.region] if arguments.region else regions
    unknown = [region for region in chosen if region not in regions or region not in RELEASES]
    if unknown:
        sys.exit(f"There is no release for: {', '.join(unknown)}")
    for region in chosen:
        release_id, world = RELEASES[region]
        release_id = arguments.release or release_id
        publish_client(arguments.out, region, release_id, world, arguments.game.read_bytes())


if __name__ == "__main__":
    main()
