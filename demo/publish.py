"""Publishes the demo: the game for each region, with some content that differs between regions.

    publish.py GAME WEB_FOLDER
"""

import hashlib
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

PUBLISH = Path(__file__).resolve().parents[1] / "client-updater/publish.py"
CONTENT_SIZE = 1 << 20
RELEASES = {  # for each region: its release and the version of its world
    "aurora-reach": ("2026.11.1", "1.4.2"),
    "mossgate": ("2026.10.3", "1.4.1"),
    "skogarljos": ("2026.12.0-preview", "1.5.0"),
}


def main(game, web):
    for region, (release, world) in RELEASES.items():
        seed = f"{region} {release}".encode()
        revision = hashlib.sha1(seed).hexdigest()
        with tempfile.TemporaryDirectory() as folder:
            shutil.copy(game, folder)
            # Random content cannot be compressed, so the download takes a visible time.
            Path(folder, "region.dat").write_bytes(hashlib.shake_256(seed).digest(CONTENT_SIZE))
            subprocess.run(["/usr/bin/python3", PUBLISH, folder, "--to", web, "--region", region,
                            "--release", release, "--revision", revision,
                            "--world", f"{world}.{revision[:12]}", "--keep", "1"], check=True)


if __name__ == "__main__":
    main(*sys.argv[1:])
