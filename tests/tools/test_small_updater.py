"""Extracts the example updater from the page of the protocol, and tries it."""

import hashlib
import json
import os
import re
import shutil
import subprocess
import tempfile
import textwrap
import unittest
from pathlib import Path

PAGE = Path(__file__).resolve().parents[2] / "docs/updater-protocol.md"
CHECK = "UPDATE_CHECK launcher=unconfigured client="


class SmallUpdaterTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.web = self.folder / "web/north"
        self.resources = self.folder / "Resources"
        self.config = self.resources / "launcher-config.json"
        self.installed = self.folder / "Library/Application Support/Tarvex/client/regions/north"
        for folder in (self.web, self.resources):
            folder.mkdir(parents=True)
        [block] = re.findall(r"(?m)^    #!/usr/bin/python3\n(?:    .*\n|\n)+", PAGE.read_text())
        (self.resources / "client_updater.py").write_text(textwrap.dedent(block))
        self.config.write_text(json.dumps({
            "schemaVersion": 3, "defaultRegion": "north",
            "regions": [{"id": "north", "name": "North"}],
            "downloads": (self.folder / "web").as_uri()}))
        self.publish("r1")

    def publish(self, release, **changes):
        content = f'#!/bin/sh\n# {release}\necho "$@" >"$HOME/played"\n'.encode() + b"#" * 200_000
        (self.web / "game").write_bytes(content)
        (self.web / "release.json").write_text(json.dumps({
            "releaseId": release, "sourceRevision": "abc", "file": "game", "size": len(content),
            "sha256": hashlib.sha256(content).hexdigest(), **changes}))

    def run_updater(self, *options):
        command = ["/usr/bin/python3", self.resources / "client_updater.py", "--config", self.config,
                   "--region", "north", *options]
        environment = {"HOME": str(self.folder), "LC_ALL": "C.UTF-8", "PYTHONUNBUFFERED": "1"}
        run = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=60,
                             env=environment)
        return run.returncode, run.stdout.decode().splitlines()[-1:]

    def test_check_updater_has_no_findings(self):
        command = [os.environ["TARVEX_CHECK_UPDATER"], "--strict", "--play", self.resources]
        run = subprocess.run(command, capture_output=True, timeout=60)
        self.assertEqual(run.returncode, 0, run.stdout.decode())
        self.assertIn("“Ready to play North”", run.stdout.decode())

    def test_runs_and_their_failures(self):
        self.assertEqual(self.run_updater("--check"), (0, [CHECK + "available:r1"]))
        self.assertEqual(self.run_updater("--update-only"), (0, ["Installed client r1"]))
        self.publish("r2", sha256="0" * 64)
        self.assertEqual(self.run_updater("--check"), (0, [CHECK + "available:r2"]))
        status, [line] = self.run_updater("--update-only")
        self.assertEqual(status, 1)
        self.assertIn("Tarvex launcher error: The update could not be completed (the down", line)
        shutil.rmtree(self.web)
        self.assertEqual(self.run_updater("--check"), (0, [CHECK + "current"]))
        self.assertEqual(self.run_updater("--", "--check", "a b"), (0, ["Starting Tarvex…"]))
        self.assertEqual((self.folder / "played").read_text(), "--check a b\n")
        with open(self.installed / "lock") as lock:
            for kind, option, status in (("-s", "--", 0), ("-x", "--", 1), ("-s", "--update-only", 1)):
                with self.subTest(kind + option):
                    subprocess.run(["flock", kind, "0"], stdin=lock, check=True)
                    self.assertEqual(self.run_updater(option)[0], status)
        shutil.rmtree(self.installed)
        self.assertEqual(self.run_updater("--check")[0], 1)
