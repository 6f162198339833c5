"""The updater and publishing are killed before each system call that changes something on the disk;
then the next run has to end well. strace finds these calls, and kills."""

import collections
import os
import re
import shutil
import signal
import subprocess
import unittest

from updater_test import FIRST, NEW, OLD, REGION, SECOND, UPDATER, UpdaterTest

CHANGES = ("openat,write,pwrite64,writev,sendfile,copy_file_range,ftruncate,fallocate,?rename,"
           "?renameat,renameat2,?link,linkat,?symlink,symlinkat,?unlink,unlinkat,?mkdir,mkdirat,?rmdir,"
           "?chmod,fchmod,fchmodat,?chown,fchown,fchownat,utimensat,fsync,fdatasync,sync,syncfs")
CHANGES_NOTHING = re.compile(r"openat\((?!.*O_CREAT)|write\([12],|.* = -1 E")
# With one thread all calls have one order, so that strace can count them.
ONE_THREAD = """
import runpy, sys, threading

class Thread:
    is_alive = lambda self: False
    def __init__(self, target, daemon): self.start = target

threading.Thread = Thread
del sys.argv[0]
runpy.run_path(sys.argv[0], run_name="__main__")
"""


class KillTest(UpdaterTest):
    def traced(self, option, program, *words):
        run = subprocess.run(
            ["strace", "-f", "--seccomp-bpf", "-o", "calls", "-e", option, "/usr/bin/python3", "-Bc",
             ONE_THREAD, UPDATER / program, *words], cwd=self.root, capture_output=True,
            env={"HOME": self.home, "PATH": os.environ["PATH"], "PYTHONPATH": UPDATER,
                 "PYTHONHASHSEED": "0"})
        return run.returncode, run.stdout + run.stderr

    def kills(self, restore, *command):
        """For each call that changes something: restores, runs the command, kills it before that call, and
        yields the call."""
        restore()
        status, output = self.traced("trace=" + CHANGES, *command)
        self.assertEqual(status, 0, output)
        counts = collections.Counter()
        for line in (self.root / "calls").read_text().splitlines():
            _, call = line.split(maxsplit=1)
            name = call.partition("(")[0]
            counts[name] += 1
            if "(" in call and not CHANGES_NOTHING.match(call):
                restore()
                kill = f"inject={name}:signal=KILL:when={counts[name]}"
                status, output = self.traced(kill, *command)
                self.assertEqual(status, -signal.SIGKILL, f"{kill} {output}")
                yield call
        self.assertGreater(counts["rename"] + counts["renameat2"], 1)

    def test_client(self):
        self.publish("1.0", FIRST)
        self.assert_updates()
        installed = self.home.rename(self.root / "installed")
        self.publish("2.0", SECOND)
        for before in installed, None:
            def restore():
                shutil.rmtree(self.home, ignore_errors=True)
                if before:
                    shutil.copytree(before, self.home)

            found = []
            for call in self.kills(restore, "client_updater.py", "--config", self.config, "--region",
                                   REGION, "--update-only"):
                with self.subTest(call):
                    if (self.installed / "current.json").exists():
                        self.assert_installed(*[FIRST] * bool(before), SECOND)
                        found.append((self.current_files() / "new").exists())
                    else:
                        self.assertIsNone(before)
                        found.append(False)
                    self.assert_updates()
                    self.assert_installed(SECOND)
                    self.assertIn(" client=current ", self.run_updater("--check")[1][-1])
                    self.assertEqual(len(list((self.installed / "releases").iterdir())), 1)
            self.assertEqual((found[0], found[-1], found), (False, True, sorted(found)))

    def test_launcher(self):
        def restore():
            shutil.rmtree(self.bundle.parent, ignore_errors=True)
            shutil.rmtree(self.home, ignore_errors=True)
            self.make_bundle(self.bundle, OLD)

        self.publish("1.0", FIRST, "--launcher", self.make_bundle(self.root / "built", NEW))
        found = []
        for call in self.kills(restore, "client_updater.py", "--config", self.config, "--region", REGION,
                               *self.launcher, "--update-only"):
            with self.subTest(call):
                found.append(self.version_of(self.bundle))
                self.assert_updates(*self.launcher)
                self.assertEqual(self.version_of(self.bundle), NEW)
                self.assertLessEqual({path.name for path in self.bundle.parent.iterdir()},
                                     {"Tarvex.app", "Tarvex.app.old"})
        self.assertEqual((found[0], found[-1], found), (OLD, NEW, sorted(found)))

    def test_publishing(self):
        def restore():
            for folder in (self.web, self.home):
                shutil.rmtree(folder, ignore_errors=True)
            shutil.copytree(before, self.web)

        self.publish("1.0", FIRST)
        before = self.web.rename(self.root / "before")
        game = self.make_files(self.root / "game", SECOND)
        for call in self.kills(restore, "publish.py", game, "--to", "web", "--region", REGION, "--release",
                               "2.0", "--keep", "1"):
            with self.subTest(call):
                self.publish("1.0", {"game": "#!"}, "--keep", "1", region="mossgate")
                self.assert_updates()
                self.assert_installed(FIRST, SECOND)
                self.publish("2.0", SECOND)
                self.assert_updates()
                self.assert_installed(SECOND)


if __name__ == "__main__":
    unittest.main()
