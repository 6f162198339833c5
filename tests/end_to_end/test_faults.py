"""Faults of the player's machine and of the updater, and their effect on the launcher."""

import os
import resource
import shutil
import signal
import subprocess
import unittest
from pathlib import Path

from desktop import run, wait_until
from launcher_test import NO_UPDATE, LauncherTest, setUpModule

LIBRARIES = Path("/usr/lib/x86_64-linux-gnu")
FAKETIME = LIBRARIES / "faketime/libfaketimeMT.so.1"
NSS_WRAPPER = LIBRARIES / "libnss_wrapper.so"  # replaces the user database by files
SANITIZED = bool(os.environ.keys() & {"ASAN_OPTIONS", "TSAN_OPTIONS"})


class FaultTest(LauncherTest):
    @unittest.skipIf(SANITIZED, "the sanitizers need descriptors and memory of their own")
    def test_faults_while_the_launcher_runs(self):
        self.plan(check=[["exit", 255]])
        launcher = self.launch()
        launcher.wait_for(button="Retry", status="Couldn’t check for updates")
        for limit, value in ((resource.RLIMIT_NOFILE, 3), (resource.RLIMIT_AS, 1)):
            usual = resource.prlimit(launcher.process.pid, limit)
            resource.prlimit(launcher.process.pid, limit, (value, usual[1]))
            launcher.press("Return")
            launcher.wait_for(button="Retry", version="The update service could not be started.")
            resource.prlimit(launcher.process.pid, limit, usual)
            launcher.press("Return")
            launcher.wait_for(button="Retry", status="Couldn’t check for updates")
        self.plan(check=[NO_UPDATE])
        launcher.log.chmod(0)
        launcher.press("Return")
        launcher.wait_for(button="Play")
        launcher.log.chmod(0o600)
        self.assertTrue(launcher.log.read_text().endswith(NO_UPDATE[1]))
        shutil.rmtree(launcher.log.parent)
        launcher.press("Return")
        launcher.wait_for(button="Retry", status="Couldn’t start the game")
        launcher.press("Return")
        launcher.wait_for(button="Play")

    def test_faults_before_the_start(self):
        settings = self.home / ".config/Tarvex/tarvex-launcher.conf"
        settings.parent.mkdir(parents=True)
        settings.with_name(settings.name + ".lock").mkdir()  # a lock that cannot be taken
        users, groups = self.folder / "users", self.folder / "groups"
        users.write_text(f"player:x:{os.getuid()}:{os.getgid()}:Player:{self.home}:/bin/sh\n")
        groups.write_text(f"player:x:{os.getgid()}:\n")
        user = {"LD_PRELOAD": str(NSS_WRAPPER), "NSS_WRAPPER_PASSWD": str(users),
                "NSS_WRAPPER_GROUP": str(groups)}
        self.assertTrue(FAKETIME.exists() and NSS_WRAPPER.exists())
        clock = {"LD_PRELOAD": str(FAKETIME), "FAKETIME_DONT_FAKE_MONOTONIC": "1"}
        faults = {
            "no home": {"HOME": "/proc/nowhere"},
            "no settings": {"XDG_CONFIG_HOME": "/dev/null"},
            "home only in the user database": {**user, "HOME": None},
            "home empty in the environment": {**user, "HOME": ""},
            "settings are garbage": {},
            "clock leaps ahead": {**clock, "FAKETIME": "+0 i+3600"},
            "clock leaps back": {**clock, "FAKETIME": "+0 i-3600"},
            # Qt 6.8 leaks there. The stacks contain only QtCore's frames, too common for a suppression.
            "no session bus": {"DBUS_SESSION_BUS_ADDRESS": "unix:path=/nowhere",
                               "ASAN_OPTIONS": "detect_leaks=0"},
        }
        if SANITIZED:  # the sanitizers refuse the wrapper's way to load the C library
            faults = {name: fault for name, fault in faults.items() if not user.items() <= fault.items()}
        for name, environment in faults.items():
            with self.subTest(name):
                settings.write_bytes(b"[General\n\xff\0=\x80\nselectedRegion=@" * 9)
                self.plan(check=[["flood", 500], NO_UPDATE],
                          play=[["print", "Starting Tarvex…\n"], ["kill", signal.SIGSTOP],
                                ["exit", 255]])
                (self.resources / "calls.jsonl").unlink(missing_ok=True)
                shutil.rmtree(self.home / "Library", ignore_errors=True)
                launcher = self.launch(**environment)

                def game():
                    # Without a bus the window cannot be read. It may be hidden already.
                    run("xdotool", "key", "--clearmodifiers", "Return")
                    return [one["pid"] for one in self.children() if one["mode"] == "play"]

                [pid] = wait_until(game, "the game")
                wait_until(lambda: launcher.window() is None, "the window to hide")
                os.kill(pid, signal.SIGCONT)
                self.wait_for_end_of(pid)
                self.assertIsNone(launcher.process.poll())
                self.assertEqual(launcher.log.exists(), name != "no home")
                self.assertEqual(b"\nselectedRegion=aurora-reach\n" in settings.read_bytes(),
                                 name not in ("no home", "no settings"))
                # libfaketime crashes one exit in a hundred: a thread asks it for the time too late.
                if "FAKETIME" not in environment:
                    self.terminate(launcher)

    def test_full_disk_loses_whole_entries_only(self):
        support = self.home / "Library/Application Support/Tarvex"
        support.mkdir(parents=True)
        mount = ["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", support]
        if os.geteuid() != 0 or subprocess.run(mount, stderr=subprocess.DEVNULL).returncode != 0:
            self.skipTest("a disk for the test cannot be mounted")
        self.addCleanup(run, "umount", "--lazy", support)
        self.plan(check=[["flood", 3000], NO_UPDATE])
        launcher = self.ready()
        kept = launcher.log.read_text().split("\n")
        flood = [line for line in kept if "flood" in line]
        self.assertIn(len(flood), range(500, 2000))
        self.assertEqual({len(line) for line in flood}, {len(flood[0])})
        self.assertEqual(kept[-1], "")
        os.truncate(launcher.log, 0)  # makes room
        self.plan(check=[NO_UPDATE])
        launcher.click("combo box", "Region")
        launcher.press("Return")
        wait_until(lambda: launcher.log.read_text() == f"Checking for updates.\n{NO_UPDATE[1]}",
                   launcher.log.read_text)


if __name__ == "__main__":
    unittest.main(verbosity=2)
