"""The common part of the end-to-end tests: a virtual desktop, a copy of the bundle TARVEX_BUNDLE, and
tests/child.py in the updater's place."""

import json
import os
import shutil
import tempfile
import unittest
from pathlib import Path

from desktop import Desktop, wait_until

BUNDLE = Path(os.environ["TARVEX_BUNDLE"])
CHILD = Path(__file__).parent.parent / "child.py"
NO_UPDATE = ["print", "UPDATE_CHECK launcher=current client=current\n"]
UPDATE = ["print", "UPDATE_CHECK launcher=current client=available:r5\n"]
desktop = Desktop()


def setUpModule():
    unittest.enterModuleContext(desktop)


class LauncherTest(unittest.TestCase):
    def setUp(self):
        # A child may outlive its launcher for a moment and still write to the folder.
        self.folder = Path(self.enterContext(
            tempfile.TemporaryDirectory(ignore_cleanup_errors=True))).resolve()
        self.home = self.folder / "home"
        self.home.mkdir()
        self.bundle = self.folder / BUNDLE.name
        shutil.copytree(BUNDLE, self.bundle)
        self.resources = self.bundle / "Contents/Resources"

    def plan(self, **steps):
        """Replaces the updater by tests/child.py with these steps for each mode."""
        shutil.copy(CHILD, self.resources / "client_updater.py")
        (self.resources / "plan.json").write_text(json.dumps(steps), encoding="utf-8")

    def launch(self, *arguments, preexec_fn=None, **environment):
        return self.enterContext(desktop.launch(
            self.bundle, self.home, *arguments, environment=environment, preexec_fn=preexec_fn))

    def wait_for_line(self, launcher, line="x\n"):
        wait_until(lambda: launcher.log.exists() and launcher.log.read_text().endswith(line),
                   "the child's line")

    def play_until_hidden(self, launcher):
        launcher.wait_for(button="Play")
        launcher.press("Return")
        wait_until(lambda: launcher.window() is None, "the window to hide")

    def children(self):
        calls = self.resources / "calls.jsonl"
        *lines, _ = calls.read_text(encoding="utf-8").split("\n") if calls.exists() else [""]
        return [json.loads(line) for line in lines]  # the last line may be incomplete

    def assert_ended(self, launcher, status=0):
        self.assertEqual(launcher.process.wait(timeout=30), status)

    def wait_for_end_of(self, pid):
        wait_until(lambda: not Path(f"/proc/{pid}").exists(), f"the end of {pid}")
