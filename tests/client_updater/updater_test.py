"""The common part of the updater's tests: a home, a web folder, a game to publish, and runs of the updater in
a forked child, which is much faster than starting an interpreter."""

import hashlib
import json
import os
import plistlib
import shutil
import signal
import sys
import tempfile
import unittest
from pathlib import Path

UPDATER = Path(__file__).resolve().parents[2] / "client-updater"
sys.path[:0] = [str(UPDATER), str(UPDATER.parent / "demo")]
import client_updater
import fetch
import publish

REGION = "aurora-reach"
OLD, NEW = "a" * 16, "b" * 16
TIME_LIMIT = 60  # seconds, for anything that is waited for
GAME = """#!/usr/bin/python3
import os, signal, sys
signal.signal(signal.SIGTERM, lambda *_: sys.exit(7))
print("game:", sys.argv[1:], flush=True)
if "wait" in sys.argv: signal.pause()
if "crash" in sys.argv: os.kill(os.getpid(), signal.SIGKILL)
sys.exit(3 if "three" in sys.argv else 0)
"""
CONTENT = hashlib.shake_256().digest(1 << 20)  # 1 MiB that cannot be compressed
FIRST = {"tarvex-game": GAME, "data/map": "forest " * 9999, "data/twin": "forest " * 9999,
         "data/Skógarljós": bytes(range(256)) * 512, "readme": ""}
SECOND = {**FIRST, "data/map": "meadow " * 9999, "new/deep/file": "new"}


def having(module, **changes):
    """A function that makes these changes to a module: the argument `before` of a run."""
    return lambda: vars(module).update(changes)


def memory():
    """A folder in memory, where a sync takes no time; None if there is none that may contain programs."""
    disk = "/dev/shm"
    usable = os.access(disk, os.W_OK) and not os.statvfs(disk).f_flag & os.ST_NOEXEC
    return disk if usable else None


class UpdaterTest(unittest.TestCase):
    def setUp(self):
        self.root = Path(self.enterContext(tempfile.TemporaryDirectory(dir=memory())))
        self.home, self.web = self.root / "home", self.root / "web"
        self.config = self.root / "launcher-config.json"
        self.support = self.home / "Library/Application Support/Tarvex"
        self.installed = self.support / "client/regions" / REGION
        self.bundle = self.root / "apps/Tarvex.app"
        self.launcher = ("--launcher-bundle", str(self.bundle), "--launcher-version", OLD)
        self.configure()

    def configure(self, releases="web", **changes):
        regions = [{"id": REGION, "name": "Aurora Reach"}, {"id": "mossgate", "name": "Mossgate"}]
        self.config.write_text(json.dumps({"regions": regions, "releases": releases, **changes}))

    def forked(self, function):
        """The exit status of a child that calls function, and the lines that it prints."""
        output = self.root / "output"
        child = os.fork()
        if child == 0:
            signal.alarm(TIME_LIMIT)
            with open(output, "wb") as file:
                os.dup2(file.fileno(), 1)
                os.dup2(file.fileno(), 2)
            os.environ["HOME"] = str(self.home)
            os.chdir(self.root)
            os.umask(0o077)
            fetch.PAUSES = (0.01,) * 3
            status = 99
            try:
                status = function() or 0
            except SystemExit as end:
                status = end.code if isinstance(end.code, int) else print(end.code) or 1
            except BaseException as error:
                print(f"{type(error).__name__}: {error}")
            finally:
                sys.stdout.flush()
                os._exit(status)
        _, status = os.waitpid(child, 0)
        return os.waitstatus_to_exitcode(status), output.read_text(encoding="utf-8").splitlines()

    def run_program(self, main, *words):
        def run():
            sys.argv = ["program", *map(str, words)]
            return main()

        return self.forked(run)

    def run_updater(self, *words, region=REGION, before=lambda: None):
        def main():
            before()
            return client_updater.main()

        return self.run_program(main, "--config", self.config, "--region", region, *words)

    def publish(self, release=None, files=None, *options, region=REGION, status=0):
        words = [*options, "--to", "web"]
        if files is not None:
            words.insert(0, self.make_files(self.root / "game", files))
        if release:
            words += ["--region", region, "--release", release]
        found, lines = self.run_program(publish.main, *words)
        self.assertEqual(found, status, lines)
        return lines

    def described(self):
        return json.loads(json.loads((self.web / "release.json").read_bytes())["release"])

    def make_files(self, folder, files):
        """Scripts, and nothing else, are executable."""
        shutil.rmtree(folder, ignore_errors=True)
        for name, content in files.items():
            content = content if isinstance(content, bytes) else content.encode()
            (folder / name).parent.mkdir(parents=True, exist_ok=True)
            (folder / name).write_bytes(content)
            (folder / name).chmod(0o755 if content.startswith(b"#!") else 0o644)
        return folder

    def make_bundle(self, bundle, version, **files):
        """A bundle with a program that prints its version."""
        information = {"CFBundleExecutable": "launcher", "CFBundleVersion": version}
        self.make_files(bundle, {
            "Contents/Info.plist": plistlib.dumps(information),
            "Contents/Linux/launcher": f"#!/bin/sh\necho {version}\n",
            "Contents/Resources/client_updater.py": "the same in all of them",
            "Contents/Resources/launcher-config.json": version, **files})
        return bundle

    def version_of(self, bundle):
        """The bundle's version. Fails if a file has another one."""
        information = plistlib.loads((bundle / "Contents/Info.plist").read_bytes())
        version = information["CFBundleVersion"]
        self.assertIn(version, (bundle / "Contents/Linux/launcher").read_text())
        self.assertTrue(os.access(bundle / "Contents/Linux/launcher", os.X_OK))
        self.assertEqual((bundle / "Contents/Resources/launcher-config.json").read_text(), version)
        return version

    def assert_updates(self, *words, **options):
        status, lines = self.run_updater("--update-only", *words, **options)
        self.assertEqual(status, 0, lines)
        return lines

    def assert_fails(self, sentence, *words, **options):
        status, lines = self.run_updater(*words or ["--update-only"], **options)
        self.assertEqual(status, 1, lines)
        self.assertRegex(lines[-1], f"^Tarvex launcher error: .*{sentence}")
        self.assertNotIn("Traceback", "".join(lines))
        return lines

    def current_files(self, region=REGION):
        folder = self.installed.with_name(region)
        name = json.loads((folder / "current.json").read_bytes())["folder"]
        return folder / "releases" / name / "files"

    def assert_installed(self, *possible, region=REGION):
        """Asserts that the installed files are one of these sets, byte by byte."""
        folder = self.current_files(region)
        found = {str(path.relative_to(folder)): path.read_bytes()
                 for path in folder.rglob("*") if path.is_file()}
        as_bytes = [{name: content if isinstance(content, bytes) else content.encode()
                     for name, content in files.items()} for files in possible]
        self.assertIn(found, as_bytes)
        for name, content in found.items():
            self.assertEqual(os.access(folder / name, os.X_OK), content.startswith(b"#!"), name)
