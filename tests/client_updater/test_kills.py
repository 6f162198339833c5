"""The updater is killed before each step in which it changes something on the disk, and in the middle of
each write; then the next run has to end well. The steps are found by watching the interpreter."""

import builtins
import io
import os
import shutil
import signal
import sys
import unittest

from updater_test import FIRST, NEW, OLD, SECOND, UpdaterTest

CHANGES = {"os.chmod", "os.link", "os.mkdir", "os.remove", "os.rename", "os.rmdir", "os.truncate",
           "os.utime", "ctypes.dlsym"}  # the last one for what comes without Python: syncfs, renameat2


class Steps:
    """Kills this process before a certain step of all that change something."""

    def __init__(self, last):
        self.left = last
        sys.addaudithook(lambda event, _: event in CHANGES and self.step())
        sync, self.open = os.fsync, builtins.open
        os.fsync = lambda file: (self.step(), sync(file))
        builtins.open = self.watched

    def step(self):
        self.left -= 1
        if self.left == 0:
            os.kill(os.getpid(), signal.SIGKILL)

    def watched(self, path, mode="r", *words, **options):
        if not set(mode) & set("wa+"):
            return self.open(path, mode, *words, **options)
        steps = self

        class File(io.FileIO):
            def write(self, content):
                steps.step()
                written = super().write(content[: len(content) // 2])
                steps.step()
                return written + super().write(content[written:])

        file = File(path, mode.replace("b", ""))
        self.step()  # with a file that is empty
        return (io.BufferedRandom if "+" in mode else io.BufferedWriter)(file)


class KillTest(UpdaterTest):
    def killed_at_each_step(self, words, restore, after_kill, after_all):
        """Restores, kills at a step, and goes on: for each step until there are no more."""
        found, last = [], 0
        while True:
            last += 1
            restore()
            status, lines = self.run_updater(*words, before=lambda: Steps(last))
            if status == 0:
                break
            self.assertEqual(status, -signal.SIGKILL, lines)
            with self.subTest(step=last, lines=lines):
                found.append(after_kill())
                status, lines = self.run_updater(*words)
                self.assertEqual(status, 0, lines)
                after_all()
        self.assertGreater(last, 15)
        return found

    def test_client(self):
        def restore():
            shutil.rmtree(self.home, ignore_errors=True)
            if before:
                shutil.copytree(before, self.home)

        def after_kill():
            if not (self.installed / "current.json").exists():
                self.assertIsNone(before)
                return None
            self.assert_installed(FIRST, SECOND)
            return (self.current_files() / "new").exists()

        def after_all():
            self.assert_installed(SECOND)
            self.assertIn(" client=current ", self.run_updater("--check")[1][-1])
            self.assertEqual(len(list((self.installed / "releases").iterdir())), 1)

        self.publish("1.0", FIRST)
        self.assert_updates()
        before = self.home.rename(self.root / "before")
        self.publish("2.0", SECOND)
        found = self.killed_at_each_step(["--update-only"], restore, after_kill, after_all)
        self.assertEqual(set(found), {False, True})
        self.assertEqual(found, sorted(found))
        before = None
        found = self.killed_at_each_step(["--update-only"], restore, after_kill, after_all)
        self.assertEqual(set(found), {None, True})

    def test_launcher(self):
        def restore():
            shutil.rmtree(self.bundle.parent, ignore_errors=True)
            shutil.rmtree(self.home, ignore_errors=True)
            self.make_bundle(self.bundle, OLD)

        def after_all():
            self.assertEqual(self.version_of(self.bundle), NEW)
            self.assertLessEqual({path.name for path in self.bundle.parent.iterdir()},
                                 {"Tarvex.app", "Tarvex.app.old"})

        self.publish("1.0", FIRST, "--launcher", self.make_bundle(self.root / "built", NEW))
        found = self.killed_at_each_step([*self.launcher, "--update-only"], restore,
                                         lambda: self.version_of(self.bundle), after_all)
        self.assertEqual(set(found), {OLD, NEW})


if __name__ == "__main__":
    unittest.main()
