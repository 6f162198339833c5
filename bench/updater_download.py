"""Compares the updater with curl: the first download of a release of 1 GiB in 2,000 files from a web
server on this computer, an update after 1 % of the bytes have changed, and the check before it.

scripts/bench calls measure(), which passes each figure to add(measure, unit, ours, baseline, most).
"""

import json
import os
import random
import shutil
import statistics
import subprocess
import sys
import tempfile
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "demo"))
from web_server import WebServer

PYTHON = "/usr/bin/python3"
UPDATER = ROOT / "client-updater/client_updater.py"
FILES, SIZE = 2000, 1 << 30
MEBIBYTE = 1 << 20


def make_game(folder):
    size = SIZE // FILES
    for number in range(FILES):
        path = folder / f"part-{number % 20:02}" / f"asset-{number:04}"
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(os.urandom(size))
    game = folder / "game"
    game.write_text("#!/bin/sh\n")
    game.chmod(0o755)


def change_a_hundredth(folder):
    """Changes 1 % of the files. Returns the number of changed bytes."""
    changed = random.Random(1).sample(sorted(folder.glob("part-*/*")), FILES // 100)
    for path in changed:
        path.write_bytes(os.urandom(path.stat().st_size))
    return sum(path.stat().st_size for path in changed)


def publish(game, web, release):
    subprocess.run([PYTHON, ROOT / "client-updater/publish.py", game, "--to", web, "--region", "r",
                    "--release", release], check=True, stdout=subprocess.DEVNULL)


def timed(command, **options):
    """Runs the command. Returns the seconds and the peak of memory in bytes."""
    start = time.monotonic()
    process = subprocess.Popen(command, stdout=subprocess.DEVNULL, **options)
    _, status, usage = os.wait4(process.pid, 0)
    elapsed = time.monotonic() - start
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode:
        raise subprocess.CalledProcessError(process.returncode, command)
    return elapsed, usage.ru_maxrss * 1024


def measure(add, folder, rounds):
    with tempfile.TemporaryDirectory(dir=folder) as folder:
        folder = Path(folder)
        game, web, home = folder / "game", folder / "web", folder / "home"
        game.mkdir()
        make_game(game)
        publish(game, web, "1")
        with open(web / "single", "wb") as single:
            for path in sorted(game.rglob("part-*/*")):
                single.write(path.read_bytes())
        config = folder / "launcher-config.json"

        def updater(*words):
            return timed([PYTHON, UPDATER, "--config", config, "--region", "r", *words],
                         env={"HOME": str(home)})

        with WebServer(web) as server:
            config.write_text(json.dumps({"regions": [{"id": "r", "name": "R"}],
                                          "releases": server.address}))
            ours, curls = [], []
            for _ in range(min(rounds, 5)):
                shutil.rmtree(home, ignore_errors=True)
                (folder / "single").unlink(missing_ok=True)
                os.sync()  # otherwise a round would wait for writes of the round before
                ours.append(updater("--update-only"))
                os.sync()
                # The updater syncs before it ends, so curl's time includes a sync, too.
                curls.append(timed(["sh", "-c", 'curl -s -o "$1" "$2" && sync "$1"', "sh",
                                    folder / "single", server.address + "single"]))
            curl = statistics.median(seconds for seconds, _ in curls)
            add("download of 1 GiB in 2,000 files (baseline: one)", "s",
                statistics.median(seconds for seconds, _ in ours), curl, most=1.5 * curl)
            add("  memory", "MiB", max(memory for _, memory in ours) / MEBIBYTE, most=64)

            server.log.write_text("")
            checks = [updater("--check")[0] for _ in range(20)]
            requests = len(server.requests()) / len(checks)
            starts = [timed([PYTHON, "-c", ""])[0] for _ in range(20)]
            add("a check, above the interpreter's start", "ms",
                1000 * (statistics.median(checks) - statistics.median(starts)), most=50)
            add("  requests", "", requests, most=1)

            changed = change_a_hundredth(game)
            publish(game, web, "2")
            server.log.write_text("")
            updater("--update-only")
            loaded = sum(int(line.split()[1]) for line in server.requests())
            add("an update of 1 % downloads (baseline: changed)", "MiB", loaded / MEBIBYTE,
                changed / MEBIBYTE, most=1.05 * changed / MEBIBYTE)

