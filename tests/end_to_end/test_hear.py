"""The speech of a real screen reader (Orca) while the real launcher runs."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

import launcher_test
from desktop import wait_until
from launcher_test import NO_UPDATE, UPDATE, LauncherTest
from orca import orca_platform

ORCA = Path(__file__).with_name("orca_in_writing.py")
PREPARING = "Verifying and installing client…\n"
READY = "Installed client r5\n"
speech = None  # the file that Orca's speech is appended to


def setUpModule():
    global speech
    if orca_platform.version.split(".")[0] != "43":
        raise unittest.SkipTest("only Orca 43 says windows and buttons in the expected words")
    launcher_test.setUpModule()
    folder = Path(unittest.enterModuleContext(tempfile.TemporaryDirectory()))
    speech = folder / "speech"
    with open(speech, "w") as writing, open(folder / "errors", "w") as errors:
        orca = subprocess.Popen(
            [sys.executable, "-B", ORCA, folder / "settings"], stdout=writing, stderr=errors,
            env={**os.environ, "HOME": str(folder), "GSETTINGS_BACKEND": "memory"})
    unittest.addModuleCleanup(orca.wait)
    unittest.addModuleCleanup(orca.kill)
    wait_until(lambda: "Screen reader on." in speech.read_text(),
               lambda: f"Orca; it wrote {(folder / 'errors').read_text()}")


def said(status):
    return f"notification {status}"


class HearTest(LauncherTest):
    """Only the test of a flood changes the status so often that it counts as a flood. Each run waits until
    its status has been heard: a status that lasts only one turn is not announced, and Orca reads a value
    later than it is reported."""

    CHECKING = said("Checking for updates…")
    READY = said("Ready to play Aurora Reach.")
    UPDATE_BUTTON = ("Update push button.",
                     "Downloads and installs the update, then returns to Play.")

    def setUp(self):
        super().setUp()
        self.known = len(speech.read_text())

    def heard(self):
        return speech.read_text()[self.known:].splitlines()

    def wait_to_hear(self, *expected):
        """Waits until exactly this has been said since the last call."""
        wait_until(lambda: self.heard() == list(expected),
                   lambda: f"{expected}; heard {self.heard()}")
        self.known = len(speech.read_text())

    def go_on(self, name):
        (self.resources / name).touch()

    def launch_and_check(self, result, *expected, **steps):
        self.plan(check=[["wait for", "checked"], *result], **steps)
        launcher = self.launch()
        # End it with SIGTERM: after a SIGKILL, Orca takes the next launcher's window for this one.
        self.addCleanup(launcher.process.wait, 30)
        self.addCleanup(launcher.process.terminate)
        self.wait_to_hear("Tarvex frame.", self.CHECKING)
        self.go_on("checked")
        self.wait_to_hear(*expected)
        return launcher

    def launch_with_update(self, *update):
        launcher = self.launch_and_check([UPDATE], said("Update available."), *self.UPDATE_BUTTON,
                                         update=[["wait for", "begun"], *update])
        launcher.press("Return")
        self.wait_to_hear(self.CHECKING)
        self.go_on("begun")
        return launcher

    def launch_and_play(self, *play):
        launcher = self.launch_and_check([NO_UPDATE], self.READY, "Play push button.",
                                         "Starts Tarvex.", play=[["wait for", "begun"], *play])
        launcher.press("space")
        self.wait_to_hear(self.CHECKING)
        self.go_on("begun")
        return launcher

    def test_update(self):
        values = {5: (), 12: ["12 percent."], 13: (), 30: ["30 percent."]}
        downloading = [step for value in values for step in
                       (["wait for", str(value)], ["print", f"Downloading client: {value}%\n"])]
        launcher = self.launch_with_update(
            ["print", "Updating to client r5…\n"], *downloading, ["wait for", "downloaded"],
            ["print", PREPARING], ["wait for", "prepared"], ["print", READY], ["wait for", "never"])
        self.wait_to_hear(said("Downloading the latest update…"))
        for value, expected in values.items():
            self.go_on(str(value))
            launcher.wait_for(progress=value)
            self.wait_to_hear(*expected)
        self.go_on("downloaded")
        self.wait_to_hear(said("Preparing your game…"))
        self.go_on("prepared")
        self.wait_to_hear(said("Ready to play."))

    def test_game(self):
        launcher = self.launch_and_play(["print", "Starting Tarvex…\n"], ["wait for", "over"],
                                        ["exit", 1])
        self.wait_to_hear(said("Launching Aurora Reach…"))
        self.go_on("over")
        launcher.wait_for(button="Retry")  # while the game runs, SIGTERM would not end the launcher

    def test_failed_game_and_the_way_to_the_footer(self):
        launcher = self.launch_and_play(["exit", 1])
        self.wait_to_hear(said(
            "Couldn’t start the game. The update could not be completed. Your installed game was "
            "preserved."))
        launcher.press("Tab")
        self.wait_to_hear("View Log push button.")
        launcher.press("Tab")
        self.wait_to_hear(launcher.look().footer, "selected")

    def test_repeated_failure_is_said_again(self):
        failed = said("Couldn’t check for updates. No connection.")
        failing = [["print", "Tarvex launcher error: No connection.\n"], ["exit", 3]]
        launcher = self.launch_and_check(
            failing, failed, "Retry push button.", "Checks for updates again.")
        self.plan(check=[["wait for", "checked again"], *failing])
        launcher.press("Return")
        self.wait_to_hear(self.CHECKING)
        self.go_on("checked again")
        self.wait_to_hear(failed)
        (self.resources / "client_updater.py").unlink()
        for _ in range(2):
            launcher.press("Return")
            self.wait_to_hear(
                said("Couldn’t start the game. The launcher installation is incomplete."))

    def test_flood_is_said_when_it_is_over(self):
        self.launch_with_update(["print", (PREPARING + READY) * 1000],
                                ["print", "Updating to client r5…\n"], ["wait for", "over"])
        last = said("Downloading the latest update…")
        wait_until(lambda: last in self.heard(), self.heard)
        self.assertEqual(self.heard()[-1], last)
        self.assertLess(len(self.heard()), 8, self.heard())


if __name__ == "__main__":
    unittest.main(verbosity=2)
