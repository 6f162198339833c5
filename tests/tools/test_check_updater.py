"""Gives small updaters with faults to the program that rehearses updaters."""

import os
import subprocess
import tempfile
import unittest
from pathlib import Path

CATALOGUE = '{"schemaVersion": 3, "defaultRegion": "n", "regions": [{"id": "n", "name": "North"}]}'
OFFER = "UPDATE_CHECK launcher=current client=available:r5"

# What the updater prints in a check and in an update, the update's exit status; then the exit
# status of the rehearsal, and what that says among other things.
UPDATERS = [
    (OFFER, "Client r5 is current.", 0, 0, ["offered again", "current.json is missing"]),
    (OFFER, "Tarvex launcher error: Disk full", 3, 1, ["“Couldn’t start", "line “Disk full”"]),
    (OFFER, "Installed launcher x. Restarting…", 0, 1, ["no --launcher-bundle was passed"]),
    (OFFER, "Starting Tarvex...\nDownloading client: 4 of 10", 0, 0, ["U+2026", "to 410"]),
    (OFFER + " world=1", "", 0, 1, ["“world=1” is not", "“Couldn’t check for updates”"]),
]


class CheckUpdaterTest(unittest.TestCase):
    def test_what_is_wrong_is_said(self):
        for check, update, update_status, expected_status, expected in UPDATERS:
            with self.subTest(check + update), tempfile.TemporaryDirectory() as folder:
                Path(folder, "launcher-config.json").write_text(CATALOGUE)
                Path(folder, "client_updater.py").write_text(
                    f"import sys\nchecks = '--check' in sys.argv\n"
                    f"print({check!r} if checks else {update!r})\n"
                    f"sys.exit(0 if checks else {update_status})"
                )
                command = [os.environ["TARVEX_CHECK_UPDATER"], "--update", folder]
                run = subprocess.run(command, capture_output=True, timeout=60)
                said = run.stdout.decode()
                missing = [text for text in expected if text not in said]
                self.assertEqual((run.returncode, missing), (expected_status, []), said)
