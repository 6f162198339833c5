"""The content of the web folder after publishing, and after mistakes of the operator."""

import os
import shutil
import unittest

from updater_test import CONTENT, FIRST, GAME, NEW, REGION, SECOND, UpdaterTest, publish

MISTAKES = [  # the files, the region, the release, the options, a part of the message
    ({"game": "#!", "other": "#!"}, "eu", "1", [], "Which file starts the game"),
    ({"data": ""}, "eu", "1", [], "Which file starts the game"),
    ({"game": "#!"}, "eu", "1", ["--start", "other"], "none of the executable files"),
    ({"game": "#!", "a": "", "A": ""}, "eu", "1", [], "'A' and 'a' are one on some disks"),
    ({"game": "#!", "\udcff": ""}, "eu", "1", [], "no valid “path”: '\\udcff'"),
    ({"game": "#!"}, "EU", "1", [], "--region has to look like"),
    ({"game": "#!"}, "eu", "../1", [], "--release has to look like"),
    ({"game": "#!"}, "eu", "1", ["--world", "1.0"], "--world has to look like"),
    ({"game": "#!"}, "eu", "1", ["--keep", "0"], "--keep has to look like"),
    ({"game": "#!"}, "eu", "1", ["--key", "/nowhere"], "has not signed the release"),
    ({"game": "#!"}, "eu", "1", ["--launcher", "/etc/passwd"], "is no package"),
    (None, "eu", "1", [], "no release 1 of eu to take back to"),
    (None, None, None, [], "nothing to publish"),
    (None, "eu", "1", ["nowhere"], "No such file or directory: 'nowhere'"),
    (None, "eu", "1", ["."], "is in the game's folder"),
]


class PublishTest(UpdaterTest):
    def test_published_files_are_not_written_again(self):
        def written():
            files = (path for path in self.web.rglob("*") if path.is_file())
            return {path: path.stat().st_mtime_ns for path in files}

        self.publish("1.0", {**FIRST, "content": CONTENT})
        before = written()
        self.assertEqual({path.stat().st_mode & 0o777 for path in before}, {0o644})
        self.assertEqual(self.publish("1.0", {**FIRST, "content": CONTENT}), ["Nothing is new."])
        self.assertEqual(written(), before)
        self.assertIn("Published: regions/mossgate 1.0; 0 bytes are new.",
                      self.publish("1.0", {**FIRST, "content": CONTENT}, region="mossgate"))
        self.assertLess(sum(path.stat().st_size for path in before), 1.1 * len(CONTENT))
        counter = self.described()["counter"]
        self.publish("2.0", SECOND)
        self.assertGreater(self.described()["counter"], counter)
        self.assertEqual(list(self.described()["regions"]), [REGION, "mossgate"])

    def test_keep_removes_older_releases_and_their_objects(self):
        for release in range(4):
            self.publish(str(release), {"game": f"#!{release}"})
        self.publish("0")
        launcher = self.make_bundle(self.root / "built", NEW)
        self.publish("4", {"game": "#!4"}, "--keep", "2", "--launcher", launcher)
        left = sorted(path.stem for path in (self.web / "history/regions" / REGION).glob("*"))
        self.assertEqual(left, ["0", "4"])
        self.publish("1", status=1)
        contents = [path.read_bytes() for path in self.web.glob("objects/*/*")]
        self.assertEqual([number for number in range(5) if b"#!%d" % number in contents], [0, 4])
        self.assert_updates()
        self.make_bundle(self.bundle, "a" * 16)
        self.assert_updates(*self.launcher)

    def test_a_package_can_be_published_as_a_launcher(self):
        self.publish("1.0", FIRST)
        package = self.root / "pack/tarvex-launcher-1"
        linux = self.make_bundle(package / "Tarvex Launcher.app", NEW) / "Contents/Linux"
        (package / "install.sh").write_text("no part of the bundle")
        (linux / "link").symlink_to("launcher")
        os.link(linux / "launcher", linux / "twin")
        archive = shutil.make_archive(self.root / "launcher", "xztar", self.root / "pack")
        self.publish(None, None, "--launcher", archive)
        self.make_bundle(self.bundle, "a" * 16)
        self.assert_updates(*self.launcher)
        self.assertEqual(self.version_of(self.bundle), NEW)
        self.assertFalse((self.bundle / "install.sh").exists())
        contents = [path.read_bytes() for path in (self.bundle / "Contents/Linux").iterdir()]
        self.assertEqual((len(contents), len(set(contents))), (3, 1))

    def test_links_are_published_as_files_or_not_at_all(self):
        folder = self.make_files(self.root / "links", {"game": GAME, "folder/file": "x"})
        link = folder / "link"
        link.symlink_to("game")
        self.publish("1.0", None, folder, "--start", "game")
        self.assert_updates()
        self.assert_installed({"game": GAME, "folder/file": "x", "link": GAME})
        for target in ("nowhere", "folder"):
            link.unlink()
            link.symlink_to(target)
            self.assertIn("link is neither a file nor", self.publish("2.0", None, folder, status=1)[0])

    def test_a_file_that_changes_meanwhile_is_not_published(self):
        def main():
            publish.digest_of = lambda _: "0" * 64
            return publish.main()

        game = self.make_files(self.root / "game", FIRST)
        status, lines = self.run_program(main, game, "--to", "web", "--region", REGION, "--release", "1")
        self.assertEqual(status, 1)
        self.assertIn("changes while it is being published", lines[0])
        self.assertEqual(list(self.web.glob(f"objects/*/{'0' * 64}*[!w]")), [])

    def test_mistakes_are_said_and_change_nothing(self):
        self.publish("1.0", FIRST)
        before = (self.web / "release.json").read_bytes()
        for files, region, release, options, expected in MISTAKES:
            with self.subTest(expected):
                words = [self.make_files(self.root / "game", files)] if files else []
                words += ["--region", region, "--release", release] if region else []
                status, lines = self.run_program(publish.main, *words, *options, "--to", self.web)
                self.assertNotEqual(status, 0)
                self.assertIn(expected, lines[-1])
                self.assertEqual((self.web / "release.json").read_bytes(), before)


if __name__ == "__main__":
    unittest.main()
