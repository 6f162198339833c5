"""The updater's modes, mostly with releases in a folder. test_server.py tests the requests to a server."""

import json
import os
import re
import select
import shutil
import signal
import subprocess
import unittest
from pathlib import Path
from unittest.mock import Mock

from updater_test import CONTENT, FIRST, GAME, NEW, OLD, REGION, SECOND, UPDATER, UpdaterTest, having
import download
import launcher
import update
from web_server import WebServer

WORLD = "1.4.2.0a1b2c3d4e5f"


class CheckTest(UpdaterTest):
    def test_reports_and_changes_nothing(self):
        self.publish("1.0", FIRST, "--world", WORLD)
        stays = ("--relaunched-from", "c" * 16, "--no-self-update")
        self.make_bundle(self.bundle, OLD)
        rows = [
            (None, stays, "unpackaged"),
            (None, self.launcher + stays, "unconfigured"),
            (NEW, self.launcher + stays, "unknown"),
            (NEW, self.launcher + stays[:2], f"available:{NEW}"),
            (NEW, self.launcher + ("--relaunched-from", NEW), "current"),
        ]
        for published, words, launcher in rows:
            with self.subTest(launcher, published=published):
                if published:
                    bundle = self.make_bundle(self.root / "built", published)
                    self.publish(None, None, "--launcher", bundle)
                report = f"UPDATE_CHECK launcher={launcher} client=available:1.0 world={WORLD}"
                self.assertEqual(self.run_updater(*words, "--check"), (0, [report]))
        read_only = having(os, access=lambda path, _: path != str(self.bundle))
        self.assertIn("launcher=unknown", self.run_updater(*self.launcher, "--check", before=read_only)[1][0])
        self.assertFalse(self.home.exists())

    def test_older_offers_are_refused_but_a_release_can_be_taken_back(self):
        self.publish("1.0", FIRST, "--launcher", self.make_bundle(self.root / "built", "c" * 16))
        stale = (self.web / "release.json").read_bytes()
        bundle = self.make_bundle(self.root / "built", NEW)
        self.publish("2.0", SECOND, "--launcher", bundle)
        newest = (self.web / "release.json").read_bytes()
        self.make_bundle(self.bundle, OLD)
        self.assert_updates(*self.launcher)
        self.assert_updates()
        (self.web / "release.json").write_bytes(stale)
        said = self.run_updater("--check", *self.launcher)[1]
        self.assertIn("1.0 is not taken", said[0])
        self.assertIn(" launcher=unknown client=current ", said[1])
        (self.support / "launcher.json").unlink()
        self.assertIn(" launcher=unknown ", self.run_updater("--check", *self.launcher)[1][1])
        self.assert_updates()
        self.assert_installed(SECOND)
        for words in ["--repair"], ["--update-only"]:
            (self.current_files() / "tarvex-game").unlink(missing_ok=True)
            self.assert_fails("an older release than the installed one", *words)
        (self.web / "release.json").write_bytes(newest)
        self.assert_updates()
        self.assert_installed(SECOND)
        self.publish("1.0")
        self.assertIn("client=available:1.0", self.run_updater("--check")[1][-1])
        current = (self.installed / "current.json").read_text()
        newer = re.sub('"counter": \\d+', '"counter": 9999999999', current)
        another = having(update, make_private_folder=lambda _: (
            self.installed / "current.json").write_text(newer))
        self.assert_fails("an older release than the installed one", before=another)
        (self.installed / "current.json").write_text(current)
        self.assert_updates()
        self.assert_installed(FIRST)

    def test_without_a_server(self):
        self.publish("1.0", FIRST)
        self.configure(offlinePlay=True)
        self.web.rename(self.root / "away")
        self.assert_fails("does not have the files", "--check")
        (self.root / "away").rename(self.web)
        self.assert_updates()
        self.web.rename(self.root / "away")
        report = self.run_updater("--check")[1][-1]
        self.assertEqual(report, "UPDATE_CHECK launcher=unknown client=current")
        self.assertEqual(self.run_updater()[1][-1], "game: []")
        self.configure()
        self.assert_fails("does not have the files", "--check")


def damage(path, keep_time, size=None):
    times = path.stat()
    path.chmod(0o700)
    path.write_bytes(b"x" * (times.st_size if size is None else size))
    if keep_time:
        os.utime(path, ns=(times.st_atime_ns, times.st_mtime_ns))


def change_record(files, **changes):
    record = files.parents[2] / "current.json"
    record.write_text(json.dumps({**json.loads(record.read_bytes()), **changes}))


class UpdateTest(UpdaterTest):
    def test_says_each_step_and_replaces_what_is_installed(self):
        for release, files in (("1.0", FIRST), ("2.0", SECOND)):
            self.publish(release, files, "--revision", f"r{release}", "--world", WORLD)
            lines = self.assert_updates()
            self.assertEqual(lines[0], f"Updating to client {release}…")
            steps = ["Verifying and installing client…", f"Installed client {release}"]
            self.assertEqual(lines[-2:], steps)
            percents = [int(line[len("Downloading client: ") : -1]) for line in lines[1:-2]]
            self.assertEqual([f"Downloading client: {n}%" for n in percents], lines[1:-2])
            self.assertEqual((percents, percents[-1]), (sorted(set(percents)), 100))
            self.assert_installed(files)
            current = json.loads((self.installed / "current.json").read_bytes())
            self.assertEqual((current["releaseId"], current["sourceRevision"], current["worldVersion"]),
                             (release, f"r{release}", WORLD))
            self.assertEqual(len(list((self.installed / "releases").iterdir())), 1)
        for path in filter(os.path.isdir, self.home.rglob("*")):
            self.assertEqual(path.stat().st_mode & 0o777, 0o700, path)
        self.assertIn(" client=current ", self.run_updater("--check")[1][0])
        self.assertEqual(self.run_updater("--update-only"), (0, ["Client 2.0 is current."]))

    def test_files_that_are_there_are_linked(self):
        self.publish("1.0", FIRST)
        self.assert_updates()
        there = set(self.web.glob("objects/*/*"))
        self.publish("1.0", {**FIRST, "tarvex-game": GAME + "#", "copy": FIRST["data/map"]},
                     region="mossgate")
        for path in there:
            path.unlink()
        self.assert_updates(region="mossgate")
        one, other = self.current_files(), self.current_files("mossgate")
        self.assertTrue((one / "data/map").samefile(other / "data/map"))
        self.assertTrue((other / "copy").samefile(other / "data/map"))
        self.assertFalse((one / "tarvex-game").samefile(other / "tarvex-game"))

    def test_files_are_copied_on_a_disk_without_links(self):
        no_links = having(os, link=Mock(side_effect=PermissionError))
        self.publish("1.0", FIRST)
        self.assert_updates(before=no_links)
        damage(self.current_files() / "data/Skógarljós", keep_time=True)
        self.publish("2.0", SECOND)
        self.assert_updates(before=no_links)
        self.assert_installed(SECOND)

    def test_damage_is_found_and_only_that_is_downloaded(self):
        rows = [  # the damage, whether a check and an update notice it, the number of downloaded files
            ("program gone", lambda files: (files / "tarvex-game").unlink(), True, True, 1),
            ("file gone", lambda files: (files / "data/map").unlink(), False, True, 0),  # from its twin
            ("shorter", lambda files: damage(files / "readme", False) or
             damage(files / "data/Skógarljós", False, 9), False, True, 1),
            ("written to", lambda files: damage(files / "tarvex-game", False), False, False, 1),
            ("rotten", lambda files: damage(files / "tarvex-game", True), False, False, 1),
            ("nothing", lambda files: None, False, False, 0),
            ("odd record", lambda files: change_record(files, folder="a\0b"), True, True, -1),  # all is there
            ("odd command", lambda files: change_record(files, command=[5]), True, True, 0),
        ]
        self.publish("1.0", FIRST)
        for name, harm, check_sees, update_sees, downloads in rows:
            with self.subTest(name), WebServer(self.web) as server:
                shutil.rmtree(self.home, ignore_errors=True)
                self.configure(server.address)
                self.assert_updates()
                harm(self.current_files())
                server.log.write_text("")
                check = self.run_updater("--check")[1][0]
                self.assertEqual(" client=available:1.0 " in check, check_sees)
                if not update_sees:
                    self.assertEqual(self.assert_updates(), ["Client 1.0 is current."])
                    self.assertEqual(self.run_updater("--repair")[0], 0)
                else:
                    self.assert_updates()
                self.assert_installed(FIRST)
                asked = [line for line in server.requests() if "/objects/" in line]
                self.assertEqual(len(asked), downloads + 1, asked)  # and the manifest

    def test_faults_of_the_call_the_configuration_and_the_disk_are_reported(self):
        self.publish("1.0", FIRST)
        self.assert_fails("configuration is missing or damaged", "--check", region="nowhere")
        self.assert_fails("called wrongly", "--check", "--update-only")
        self.assert_fails("called wrongly: option --chek not rec", "--chek")
        self.assert_fails("No release is offered for Mossgate", "--check", region="mossgate")
        self.home.mkdir()
        (self.home / "Library").write_text("a file where a folder is needed")
        self.assert_fails("Tarvex cannot use ")
        (self.home / "Library").unlink()
        full = os.statvfs_result((1, 1, 0, 0, 1000, 0, 0, 0, 0, 0))
        self.assert_fails("There is not enough free space on the disk: 17 MB are needed, 0 MB",
                          before=having(os, statvfs=lambda _: full))
        no_space = OSError(28, "No space left on device")
        self.assert_fails("There is not enough free space on the disk",
                          before=having(download, unpack=Mock(side_effect=no_space)))
        self.config.write_text('{"regions": [5]}')
        self.assert_fails("configuration is missing or damaged", "--check")


class LauncherTest(UpdaterTest):
    def setUp(self):
        super().setUp()
        self.publish("1.0", FIRST)

    def offer(self, version=NEW, lacking=None, **files):
        built = self.make_bundle(self.root / "built", version, **files)
        if lacking:
            (built / "Contents" / lacking).unlink()
        self.publish(None, None, "--launcher", built)

    def test_launcher_is_replaced_before_anything_else(self):
        self.offer()
        for before in (lambda: None), having(launcher, exchange=lambda *_: False):
            for mode in ["--update-only"], ["--", "wait"]:
                with self.subTest(mode=mode):
                    shutil.rmtree(self.bundle.parent, ignore_errors=True)
                    self.make_bundle(self.bundle, OLD)
                    self.bundle.chmod(0o755)
                    retired = self.bundle.with_name("Tarvex.app.old")
                    retired.symlink_to(self.root)
                    status, lines = self.run_updater(*self.launcher, *mode, before=before)
                    self.assertEqual((status, lines[0]), (0, f"Updating launcher to {NEW}…"))
                    self.assertIn("Downloading launcher: 100%", lines)
                    self.assertEqual(lines[-2:], ["Verifying and installing launcher…",
                                                  f"Installed launcher {NEW}. Restarting…"])
                    self.assertEqual(self.version_of(self.bundle), NEW)
                    self.assertEqual(self.version_of(retired), OLD)
                    self.assertEqual(len(list(self.bundle.parent.iterdir())), 2)
                    self.assertEqual((self.bundle / "Contents").stat().st_mode & 0o777, 0o755)

    def test_sealed_files_of_another_launcher_are_not_trusted(self):
        self.make_bundle(self.bundle, OLD)
        for version in NEW, "c" * 16:
            self.offer(version)
            self.assert_updates(*self.launcher)
            self.assertEqual(self.version_of(self.bundle), version)
        shutil.copytree(self.bundle, self.bundle.with_name("Tarvex.app.new") / "files")
        self.offer("d" * 16)
        self.assert_updates(*self.launcher)
        self.assertEqual(self.version_of(self.bundle), "d" * 16)

    def test_launcher_that_lacks_a_file_or_does_not_work_here_is_refused_and_the_old_one_stays(self):
        self.make_bundle(self.bundle, OLD)
        checker = '#!/bin/sh\necho "$*, $TMPDIR"; exit {}\n'
        for lacking, sentence in (("Linux/launcher", "does not contain that launcher"),
                                  ("Resources/client_updater.py", "does not contain that launcher"),
                                  (None, "does not work on this computer")):
            with self.subTest(lacking):
                self.offer(lacking=lacking, **{"Contents/Linux/check-updater": checker.format(1)})
                said = self.assert_fails(sentence, *self.launcher, "--update-only")
                self.assertEqual(self.version_of(self.bundle), OLD)
                self.assertEqual(list(self.bundle.parent.iterdir()), [self.bundle])
        new = self.bundle.with_name("Tarvex.app.new")
        self.assertIn(f"Cause: Fault: --quiet {new}/files/Contents/Resources, {new}", said)
        self.offer(**{"Contents/Linux/check-updater": checker.format(0)})
        self.assert_updates(*self.launcher)
        self.assertEqual(self.version_of(self.bundle), NEW)


class PlayTest(UpdaterTest):
    def setUp(self):
        super().setUp()
        self.publish("1.0", FIRST)

    def start(self, *words, beginning):
        """Starts the updater as a process of its own, in an ASCII locale, and waits for a line with this
        beginning."""
        process = subprocess.Popen(
            ["/usr/bin/python3", UPDATER / "client_updater.py", "--config", self.config, "--region",
             REGION, *words], stdout=subprocess.PIPE, encoding="utf-8",
            env={"HOME": str(self.home), "LC_ALL": "C", "PYTHONCOERCECLOCALE": "0", "PYTHONUTF8": "0"})
        for cleanup in (process.stdout.close, process.wait, process.terminate):  # ends the game, too
            self.addCleanup(cleanup)
        self.assertTrue(any(line.startswith(beginning) for line in process.stdout))
        return process

    def test_hands_over_arguments_and_exit_status(self):
        self.publish("1.0", FIRST, "--start", "tarvex-game -x")
        self.assert_updates()
        for status, words in ((0, ["a b", "--check", "--"]), (3, ["three"]), (137, ["crash"])):
            with self.subTest(words=words):
                lines = ["Client 1.0 is current.", "Starting Tarvex…", f"game: {['-x', *words]}"]
                self.assertEqual(self.run_updater("--", *words), (status, lines))

    def test_sigterm_during_the_game_is_passed_on_to_the_game(self):
        updater = self.start("--", "wait", beginning="game:")
        self.assert_installed(FIRST)
        updater.terminate()
        self.assertEqual(updater.wait(), 7)
        self.assertEqual(list(UPDATER.glob("__pycache__")), [])

    def test_no_other_updater_installs_during_a_game_or_an_installation(self):
        updater = self.start("--", "wait", beginning="game:")
        game = int(Path(f"/proc/{updater.pid}/task/{updater.pid}/children").read_text())
        self.assertEqual(self.run_updater("--", "three")[0], 3)
        self.publish("2.0", {**SECOND, "large": CONTENT})
        self.assert_fails("updated or played already")
        updater.kill()
        updater.wait()
        end_of_game = os.pidfd_open(game)
        self.addCleanup(os.close, end_of_game)
        try:
            self.assert_fails("updated or played already")
        finally:
            os.kill(game, signal.SIGTERM)
        select.select([end_of_game], [], [])
        self.configure(self.enterContext(WebServer(self.web, rate=1)).address)
        updater = self.start("--update-only", beginning="Downloading client:")
        self.assert_fails("updated or played already")
        updater.terminate()
        self.assertNotIn("Tarvex", updater.stdout.read())
        self.assertEqual(updater.wait(), 128 + signal.SIGTERM)
        self.assert_installed(FIRST)


if __name__ == "__main__":
    unittest.main()
