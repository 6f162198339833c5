"""Runs the demo's updater as the launcher does, on releases that the demo's publisher made."""

import hashlib
import io
import json
import plistlib
import shutil
import signal
import subprocess
import tarfile
import tempfile
import threading
import unittest
from pathlib import Path

PYTHON = "/usr/bin/python3"
DEMO = Path(__file__).resolve().parents[2] / "demo"
REGION = "aurora-reach"
OLD, NEW, OTHER = "a" * 16, "b" * 16, "c" * 16
TIME_LIMIT = 30  # seconds, for anything that is waited for
GAME = """#!/usr/bin/python3
import os, signal, sys
signal.signal(signal.SIGTERM, lambda *_: sys.exit(7))
print("game:", sys.argv[1:], flush=True)
if "wait" in sys.argv: signal.pause()
if "crash" in sys.argv: os.kill(os.getpid(), signal.SIGKILL)
sys.exit(3 if "three" in sys.argv else 0)
"""

# Runs an updater that is killed before a certain one of its steps in a folder; before none of them,
# when that is 0, but then two names cannot be swapped in one step.
KILLED = """if True:
    import os, runpy, signal, sys
    def watch(event, arguments, steps=[0]):
        if event == "ctypes.dlsym" and not last: raise AttributeError
        if event == "ctypes.dlsym" or arguments and str(arguments[0]).startswith(folder):
            steps[0] += 1
            if steps[0] == last: os.kill(os.getpid(), signal.SIGKILL)
    folder, last = sys.argv[1], int(sys.argv[2])
    del sys.argv[:3]
    sys.addaudithook(watch)
    runpy.run_path(sys.argv[0], run_name="__main__")
"""


def archive_with(name, kind=tarfile.REGTYPE):
    packed = io.BytesIO()
    with tarfile.open(fileobj=packed, mode="w:gz") as archive:
        member = tarfile.TarInfo(name)
        member.type, member.linkname = kind, "/etc/passwd"
        archive.addfile(member)
    return packed.getvalue()


# A name, the core of the sentence, the archive, and changes of its description. A function spoils
# the published archive, which stays described as it was; bytes replace it and are described as they
# are, so that only their content can be found fault with.
BAD_RELEASES = [
    ("truncated", "wrong size", lambda content: content[:-1], {}),
    ("too long", "wrong size", lambda content: content + b"0", {}),
    ("one byte changed", "is damaged", lambda content: b"0" + content[1:], {}),
    ("no archive", "cannot be unpacked", b"anything", {}),
    ("half an archive", "cannot be unpacked", archive_with("tarvex-game")[:40], {}),
    ("without the game", "does not contain the game", archive_with("readme"), {}),
    ("path upwards", "unsafe entry", archive_with("a/../../escape"), {}),
    ("absolute path", "unsafe entry", archive_with("/tmp/escape"), {}),
    ("symbolic link", "unsafe entry", archive_with("tarvex-game", tarfile.SYMTYPE), {}),
    ("hard link", "unsafe entry", archive_with("tarvex-game", tarfile.LNKTYPE), {}),
    ("device", "unsafe entry", archive_with("tarvex-game", tarfile.CHRTYPE), {}),
    ("archive missing", "cannot be downloaded", bytes, {"archive": "missing"}),
    ("archive elsewhere", "described wrongly", bytes, {"archive": "../release.json"}),
    ("no checksum", "described wrongly", bytes, {"sha256": None}),
    ("size is no number", "described wrongly", bytes, {"size": "5"}),
    ("line end in release", "described wrongly", bytes, {"releaseId": "2.0\n"}),
]


class ClientUpdaterTest(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = Path(folder.name)
        self.offered = self.root / "releases" / REGION
        self.installed = self.root / "Library/Application Support/Tarvex/client/regions" / REGION
        self.config = self.root / "config.json"
        self.bundle = self.root / "apps" / "Tarvex.app"
        self.launcher = ("--launcher-bundle", str(self.bundle), "--launcher-version", OLD)
        (self.root / "game").write_text(GAME)
        self.configure(downloadSeconds=0)
        self.publish("1.0")

    def configure(self, **changes):
        config = json.loads((DEMO / "launcher-config.json").read_bytes())
        self.config.write_text(json.dumps({**config, **changes}))

    def publish(self, release):
        command = [PYTHON, DEMO / "publish.py", "--region", REGION, "--release", release]
        command += ["--game", self.root / "game", "--out", self.root / "releases"]
        subprocess.run(command, check=True)
        return json.loads((self.offered / "release.json").read_bytes())

    def publish_badly(self, archive, changes):
        release = self.publish("2.0")
        if isinstance(archive, bytes):
            release.update(size=len(archive), sha256=hashlib.sha256(archive).hexdigest())
        else:
            archive = archive((self.offered / release["archive"]).read_bytes())
        (self.offered / release["archive"]).write_bytes(archive)
        (self.offered / "release.json").write_text(json.dumps({**release, **changes}))

    def make_bundle(self, bundle, version, mode=0o755):
        """A bundle with a program that says its version."""
        program, data = bundle / "Contents/Linux/launcher", bundle / "Contents/Resources/data"
        for path, text in ((program, f"#!/bin/sh\necho {version}\n"), (data, version)):
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(text)
        program.chmod(mode)
        information = {"CFBundleExecutable": "launcher", "CFBundleVersion": version}
        (bundle / "Contents/Info.plist").write_bytes(plistlib.dumps(information))

    def publish_launcher(self, version=NEW, **options):
        self.make_bundle(self.root / "built", version, **options)
        command = [PYTHON, DEMO / "publish.py", "--launcher", self.root / "built"]
        subprocess.run([*command, "--out", self.root / "releases"], check=True)
        return self.root / "releases/launcher/launcher.json"

    def version_of(self, bundle):
        """The version of everything in the bundle."""
        starts = subprocess.run([bundle / "Contents/Linux/launcher"], stdout=subprocess.PIPE)
        information = plistlib.loads((bundle / "Contents/Info.plist").read_bytes())
        data = (bundle / "Contents/Resources/data").read_text()
        self.assertEqual((starts.stdout.decode(), data), (information["CFBundleVersion"] + "\n",
                                                          information["CFBundleVersion"]))
        return data

    def start(self, *words, region=REGION, driver=(DEMO / "client_updater.py",)):
        command = [PYTHON, *driver, "--config", self.config, "--region", region]
        # A locale that knows ASCII only must not show in the output.
        ascii_only = {"LC_ALL": "C", "PYTHONCOERCECLOCALE": "0", "PYTHONUTF8": "0"}
        process = subprocess.Popen(
            [*command, *words],
            env={"HOME": str(self.root), **ascii_only},
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            encoding="utf-8",
        )
        limit = threading.Timer(TIME_LIMIT, process.kill)
        limit.start()
        for cleanup in (process.stdout.close, process.wait, process.kill, limit.cancel):
            self.addCleanup(cleanup)
        return process

    def start_until(self, beginning, *words):
        process = self.start(*words)
        self.assertTrue(any(line.startswith(beginning) for line in process.stdout))
        return process

    def run_to_end(self, *words, **options):
        process = self.start(*words, **options)
        lines = process.stdout.read().splitlines()
        return process.wait(), lines

    def assert_fails(self, sentence, *words, **options):
        status, lines = self.run_to_end(*words, **options)
        self.assertEqual(status, 1, lines)
        self.assertRegex(lines[-1], f"^Tarvex launcher error: .*{sentence}")
        self.assertNotIn("Traceback", "".join(lines))

    def everything_installed(self):
        paths = (self.root / "Library").rglob("*")
        return {path: path.is_file() and path.read_bytes() for path in paths}

    def test_check_reports_and_changes_nothing(self):
        release = self.publish("1.0")
        stays = ("--relaunched-from", OTHER, "--no-self-update")
        back = ("--relaunched-from", NEW)
        self.make_bundle(self.bundle, OLD)
        rows = [
            (None, stays, "unpackaged"),
            (None, self.launcher + stays, "unconfigured"),
            (NEW, stays, "unpackaged"),
            (NEW, self.launcher + stays, "unknown"),
            (NEW, self.launcher + stays[:2], f"available:{NEW}"),
            (NEW, self.launcher + back, "current"),
            (OLD, self.launcher, "current"),
            ("not a version", self.launcher, "unknown"),
        ]
        for published, words, launcher in rows:
            with self.subTest(launcher, published=published):
                if published:
                    self.publish_launcher(published)
                report = f"launcher={launcher} client=available:1.0 world={release['worldVersion']}"
                status, lines = self.run_to_end(*words, "--check")
                self.assertEqual((status, lines[-1]), (0, f"UPDATE_CHECK {report}"))
        self.assertEqual(self.everything_installed(), {})

    def test_update_says_each_step_and_replaces_what_is_installed(self):
        for version in ("1.0", "2.0"):
            release = self.publish(version)
            status, lines = self.run_to_end("--update-only")
            self.assertEqual((status, lines[0]), (0, f"Updating to client {version}…"))
            steps = ["Verifying and installing client…", f"Installed client {version}"]
            self.assertEqual(lines[-2:], steps)
            percents = [int(line[len("Downloading client: ") : -1]) for line in lines[1:-2]]
            self.assertEqual([f"Downloading client: {n}%" for n in percents], lines[1:-2])
            self.assertEqual((percents, percents[-1]), (sorted(set(percents)), 100))

            current = json.loads((self.installed / "current.json").read_bytes())
            self.assertEqual({**release, **current}, {**release, "folder": current["folder"]})
            (folder,) = (self.installed / "releases").iterdir()
            self.assertEqual(folder.name, current["folder"])
            self.assertEqual((folder / "tarvex-game").read_text(), GAME)
        for path in filter(Path.is_dir, self.everything_installed()):
            self.assertEqual(path.stat().st_mode & 0o777, 0o700, path)
        self.assertIn(" client=current ", self.run_to_end("--check")[1][0])
        self.assertEqual(self.run_to_end("--update-only"), (0, ["Client 2.0 is current."]))

    def test_the_launcher_is_replaced_before_anything_else(self):
        self.publish_launcher()
        killed = ["-c", KILLED, self.bundle.parent, "0", DEMO / "client_updater.py"]
        for driver in ({}, {"driver": killed}):
            for mode in (("--update-only",), ("--", "wait")):
                with self.subTest(mode=mode, **driver):
                    shutil.rmtree(self.bundle.parent, ignore_errors=True)
                    self.make_bundle(self.bundle, OLD)
                    self.bundle.chmod(0o755)
                    retired = self.bundle.with_name("Tarvex.app.old")
                    retired.symlink_to(self.root)
                    status, lines = self.run_to_end(*self.launcher, *mode, **driver)
                    self.assertEqual((status, lines[0]), (0, f"Updating launcher to {NEW}…"))
                    self.assertIn("Downloading launcher: 100%", lines)
                    steps = ["Verifying and installing launcher…"]
                    steps.append(f"Installed launcher {NEW}. Restarting…")
                    self.assertEqual(lines[-2:], steps)
                    self.assertEqual(self.version_of(self.bundle), NEW)
                    self.assertEqual(self.version_of(retired), OLD)
                    self.assertEqual(len(list(self.bundle.parent.iterdir())), 2)
                    self.assertEqual((self.bundle / "Contents").stat().st_mode & 0o777, 0o755)

    def test_a_bad_launcher_is_refused_and_the_old_one_stays(self):
        rows = [
            ("does not contain that launcher", {"version": OTHER}, {}),
            ("does not contain that launcher", {}, {"mode": 0o644}),
            ("is damaged", {"sha256": "0" * 64}, {}),
        ]
        self.make_bundle(self.bundle, OLD)
        for sentence, changes, options in rows:
            with self.subTest(sentence):
                description = self.publish_launcher(**options)
                content = json.loads(description.read_bytes())
                description.write_text(json.dumps({**content, **changes}))
                self.assert_fails(sentence, *self.launcher, "--update-only")
                self.assertEqual(self.version_of(self.bundle), OLD)
                self.assertEqual(list(self.bundle.parent.iterdir()), [self.bundle])

    def test_a_kill_at_any_step_leaves_a_launcher_that_starts(self):
        self.publish_launcher()
        found = []
        status = -signal.SIGKILL
        while status == -signal.SIGKILL:
            self.make_bundle(self.bundle, OLD)  # beside what the kill before has left
            step = str(len(found) + 1)
            driver = ["-c", KILLED, self.bundle.parent, step, DEMO / "client_updater.py"]
            status, lines = self.run_to_end(*self.launcher, "--update-only", driver=driver)
            found.append(self.version_of(self.bundle))
        self.assertEqual((status, set(found[:-1])), (0, {OLD, NEW}), lines)
        self.assertEqual(len(list(self.bundle.parent.iterdir())), 2)

    def test_a_game_whose_files_are_gone_is_installed_again(self):
        self.run_to_end("--update-only")
        next(self.installed.glob("releases/*/tarvex-game")).unlink()
        self.assertIn("client=available:1.0", self.run_to_end("--check")[1][0])
        last_lines = ["Installed client 1.0", "Starting Tarvex…", "game: []"]
        self.assertEqual(self.run_to_end()[1][-3:], last_lines)

    def test_play_hands_over_arguments_and_exit_status(self):
        self.run_to_end("--update-only")
        for status, words in ((0, ["a b", "--check", "--"]), (3, ["three"]), (137, ["crash"])):
            with self.subTest(words=words):
                lines = ["Client 1.0 is current.", "Starting Tarvex…", f"game: {words}"]
                self.assertEqual(self.run_to_end("--", *words), (status, lines))

    def test_a_bad_release_is_refused_and_the_installed_game_stays(self):
        self.run_to_end("--update-only")
        before = self.everything_installed()
        for name, sentence, archive, changes in BAD_RELEASES:
            with self.subTest(name):
                self.publish_badly(archive, changes)
                self.assert_fails(sentence, "--update-only")
                self.assertEqual(self.everything_installed(), before)

    def test_what_surrounds_the_release_can_be_wrong_too(self):
        self.assert_fails("There is no region “nowhere”", "--check", region="nowhere")
        self.assert_fails("called wrongly", "--check", "--update-only")
        (self.root / "Library").write_text("a file where a folder is needed")
        self.assert_fails("Tarvex cannot use ", "--update-only")
        (self.offered / "release.json").write_text("{")
        self.assert_fails("no readable description", "--check")
        (self.offered / "release.json").unlink()
        self.assert_fails("No release is offered", "--check")
        self.config.write_text('{"regions": [5]}')
        self.assert_fails("configuration is missing or damaged", "--check")

    def test_an_end_during_the_download_leaves_nothing_half_done(self):
        self.run_to_end("--update-only")
        before = self.everything_installed()
        self.publish("2.0")
        self.configure(downloadSeconds=1000)
        updater = self.start_until("Downloading client:", "--update-only")
        updater.terminate()
        self.assertNotIn("Tarvex", updater.stdout.read())
        self.assertEqual(updater.wait(), 128 + signal.SIGTERM)
        self.assertEqual(self.everything_installed(), before)

    def test_an_end_during_the_game_reaches_the_game(self):
        updater = self.start_until("game:", "--", "wait")
        updater.terminate()
        self.assertEqual(updater.wait(), 7)

    def test_nobody_else_installs_during_a_game_or_an_installation(self):
        game = self.start_until("game:", "--", "wait")
        self.assertEqual(self.run_to_end("--", "three")[0], 3)
        self.publish("2.0")
        self.assert_fails("updated or played already", "--update-only")
        game.terminate()
        game.wait()
        self.configure(downloadSeconds=1000)
        self.start_until("Downloading client:", "--update-only")
        self.assert_fails("updated or played already", "--update-only")


if __name__ == "__main__":
    unittest.main()
