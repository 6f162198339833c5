"""Installs a package with small programs in it into many homes, and onto disks that are too small."""

import fcntl
import os
import shutil
import subprocess
import tempfile
import time
import unittest
from pathlib import Path

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio

ROOT = Path(__file__).resolve().parents[2]
NAME = "com.tarvex.launcher"
LAUNCHER = '#!/bin/sh\nprintf "%s\\n" "$0" >"$HOME/started"\n'
WORKS, LACKS_A_LIBRARY = "#!/bin/sh\n", "#!/bin/sh\necho loading: libz >&2\necho more >&2\nexit 127\n"
HOMES = ["plain", "a b", "100%", "%f%%", 'a"b', "a'b", "$HOME", "a\\b", "a\\sb", "`id`", "a=b", "é", "a;b&c",
         "~", "[a]*?", "-n", "#", "%=\"'$\\` ;"]
TOO_SMALL = """
mount -t tmpfs -o size="$1k" tmpfs "$2"
cp -R "$3/." "$2"
cd "$2"
find . -type f -exec cksum {} + | sort >"$4/before"
if HOME=$2 sh "$5/install.sh" >/dev/null 2>"$4/said"; then exit 9; fi
find . -type f -exec cksum {} + | sort | cmp - "$4/before"
"""


class InstallTest(unittest.TestCase):
    def setUp(self):
        self.root = Path(self.enterContext(tempfile.TemporaryDirectory()))
        self.package = self.root / "package"
        resources = self.package / "Tarvex Launcher.app/Contents/Resources"
        resources.mkdir(parents=True)
        shutil.copy(ROOT / "packaging/install.sh", self.package)
        for name in f"{NAME}.desktop", f"{NAME}.metainfo.xml", f"icons/{NAME}.svg", f"icons/{NAME}-48.png":
            shutil.copy(ROOT / "packaging" / name, resources)
        self.programs = resources.parent / "Linux"
        self.programs.mkdir()
        self.write("tarvex-launcher", LAUNCHER)
        self.write("check-updater", WORKS)

    def write(self, name, content):
        (self.programs / name).write_text(content)
        (self.programs / name).chmod(0o755)

    def install(self, home, *options, script=None, **environment):
        home.mkdir(exist_ok=True)
        return subprocess.run(["sh", script or self.package / "install.sh", *options],
                              env={"PATH": os.environ["PATH"], "HOME": str(home), **environment},
                              capture_output=True, text=True)

    def assert_refuses(self, home, reason, **environment):
        run = self.install(home, **environment)
        self.assertEqual(run.returncode, 1, run)
        self.assertRegex(run.stderr, f"^install.sh: nothing was changed: .*{reason}.*\n$")

    def start(self, entry, home):
        """Starts the entry as a desktop does. Returns the path of the launcher that ran."""
        started = home / "started"
        started.unlink(missing_ok=True)
        application = Gio.DesktopAppInfo.new_from_filename(str(entry))
        self.assertIsNotNone(application, entry.read_text())
        context = Gio.AppLaunchContext()
        context.setenv("HOME", str(home))
        application.launch([], context)
        end = time.monotonic() + 30
        while not (started.exists() and started.read_text().endswith("\n")):
            self.assertLess(time.monotonic(), end, entry.read_text())
            time.sleep(0.01)
        return started.read_text().removesuffix("\n")

    def test_any_home_gets_a_working_entry_and_uninstalling_leaves_no_file(self):
        for name in HOMES:
            with self.subTest(name):
                home = self.root / name
                data = home / ".local/share"
                self.assertEqual(self.install(home).stderr, "")
                entry = data / f"applications/{NAME}.desktop"
                installed = data / "tarvex-launcher/Tarvex Launcher.app/Contents/Linux/tarvex-launcher"
                self.assertEqual(self.start(entry, home), str(installed))
                self.assertEqual(len(list(data.rglob(f"{NAME}*"))), 8)  # four are the bundle's
                again = self.install(home, script=data / "tarvex-launcher/install.sh")
                self.assertEqual(again.stderr, "")
                self.assertEqual(self.start(entry, home), str(installed))
                self.install(home, "--uninstall", script=data / "tarvex-launcher/install.sh")
                self.assertEqual([path for path in data.rglob("*") if not path.is_dir()], [])

    def test_a_home_without_a_possible_entry_is_refused(self):
        for name, reason in (("a\nb", "control characters"), ("a\tb", "control characters"),
                             ("a\x7f", "control characters"), (os.fsdecode(b"a\xff"), "not UTF-8")):
            with self.subTest(reason):
                home = self.root / name
                self.assert_refuses(home, reason)
                self.assertEqual(list(home.iterdir()), [])

        for home in "", "relative":
            self.assert_refuses(self.root, "HOME is not an absolute path", HOME=home)

    def test_two_installers_do_not_disturb_each_other(self):
        folder = self.root / "home/.local/share/tarvex-launcher"
        folder.mkdir(parents=True)
        held = os.open(folder, os.O_RDONLY)
        self.addCleanup(os.close, held)
        fcntl.flock(held, fcntl.LOCK_EX)
        self.assert_refuses(self.root / "home", "another installer is running")

    def test_replaces_whatever_has_the_name(self):
        elsewhere = self.root / "elsewhere"
        elsewhere.mkdir()
        (elsewhere / "kept").touch()
        disk, folder = self.root / "disk", self.root / "data/tarvex-launcher"
        folder.parent.mkdir()
        folder.symlink_to(disk)
        bundle = folder / "Tarvex Launcher.app"
        for before in (lambda: bundle.touch(), lambda: bundle.symlink_to(elsewhere),
                       lambda: bundle.symlink_to("nowhere"),
                       lambda: [bundle.mkdir(), (bundle / "file").touch(), bundle.chmod(0o500)],
                       lambda: (folder / "install.sh").symlink_to(elsewhere),
                       lambda: bundle.with_name(bundle.name + ".new").touch(),
                       lambda: bundle.with_name(bundle.name + ".old").mkdir()):
            shutil.rmtree(disk, ignore_errors=True)
            disk.mkdir()
            before()
            run = self.install(self.root, XDG_DATA_HOME=str(folder.parent))
            self.assertEqual(run.stderr, "")
            self.assertEqual({path.name for path in folder.iterdir()}, {"install.sh", bundle.name})
            self.assertTrue(os.access(bundle / "Contents/Linux/tarvex-launcher", os.X_OK))
        self.assertEqual([path.name for path in elsewhere.iterdir()], ["kept"])
        self.install(self.root, "--uninstall", XDG_DATA_HOME=str(folder.parent))
        self.assertEqual(list(disk.iterdir()), [])

    def test_does_not_replace_a_folder_that_has_the_name_of_a_file(self):
        entry = self.root / f"home/.local/share/applications/{NAME}.desktop"
        entry.mkdir(parents=True)
        self.assert_refuses(self.root / "home", "is a folder")
        self.assertEqual(sorted(entry.parents[1].rglob("*")), [entry.parent, entry])

    def test_keeps_the_old_launcher_where_the_new_one_does_not_start(self):
        home = self.root / "home"
        self.install(home)
        before = sorted(home.rglob("*"))
        self.write("tarvex-launcher", "new")
        self.write("check-updater", LACKS_A_LIBRARY)
        self.assert_refuses(home, "loading: libz")
        self.assertEqual(sorted(home.rglob("*")), before)
        old = home / ".local/share/tarvex-launcher/Tarvex Launcher.app/Contents/Linux/tarvex-launcher"
        self.assertEqual(old.read_text(), LAUNCHER)

    def test_a_full_disk_leaves_the_old_launcher(self):
        old, disk = self.root / "old", self.root / "disk"
        disk.mkdir()
        self.install(old)
        enter = ["unshare", "--mount"] + (["--user", "--map-root-user"] if os.geteuid() else [])
        if subprocess.run([*enter, "true"], capture_output=True).returncode:
            self.skipTest("this system does not allow a mount namespace")
        self.write("tarvex-launcher", LAUNCHER + "# " + 20000 * "x")
        failures = 0
        used = sum(4 * -(-path.stat().st_size // 4096) for path in old.rglob("*") if path.is_file())
        for size in range(used + 8, 2 * used + 100, 4):  # KiB, so that different files do not fit
            run = subprocess.run([*enter, "sh", "-ec", TOO_SMALL, "sh", str(size), disk, old, self.root,
                                  self.package], capture_output=True, text=True)
            if run.returncode == 9:
                break
            self.assertEqual(run.returncode, 0, (size, run, (self.root / "said").read_text()))
            said = (self.root / "said").read_text()
            self.assertRegex(said, "^install.sh: nothing was changed: .*No space left on device\n$")
            failures += 1
        self.assertEqual(run.returncode, 9)
        self.assertGreater(failures, 10)


if __name__ == "__main__":
    unittest.main()
