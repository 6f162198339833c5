"""Looks up the licences of the libraries that a package would carry."""

import os
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "packaging"))

import notices

LICENCES = [  # the copyright file, its source package, the licence
    ("Format: x\n\nFiles: *\nCopyright: A\nLicense: LGPL-3 or GPL-2\n Text", "a", "LGPL-3 or GPL-2"),
    ("Files: debian/*\nLicense: GPL-3\n \nFiles:   *  \nLicense:\tMIT", "a", "MIT"),
    ("Files: src/*\nLicense: MIT", "a", None),
    ("Files: *.c\nLicense: MIT", "a", None),
    ("Files: *\nLicense:\n Text", "a", None),
    ("Use it as you like.", "a", None),
    ("Use it as you like.", "libx11", "MIT"),
    ("Use it as you like.", "libx11-extra", None),
    ("Files: *\nLicense: GPL-2+", "util-linux", "BSD-3-clause"),
    ("", "gcc-12", "GPL-3+ with GCC-exception-3.1"),
]


class NoticesTest(unittest.TestCase):
    def setUp(self):
        self.target = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def test_every_library_has_a_licence(self):
        plugins = subprocess.run(["qmake6", "-query", "QT_INSTALL_PLUGINS"], capture_output=True,
                                 check=True, text=True).stdout.strip()
        files = [os.environ["TARVEX_CHECK_UPDATER"], *Path(plugins, "platforms").glob("libq*xcb.so")]
        paths = subprocess.run([ROOT / "packaging/libraries", *files], capture_output=True, check=True,
                               text=True).stdout.splitlines()
        self.assertGreater(len(paths), 20)
        self.assertEqual(notices.collect(paths, self.target), [])
        said = (self.target / "NOTICES").read_text()
        for path in paths:
            self.assertIn(Path(path).name, said)
        for line in said.splitlines():
            key, _, value = line.strip().partition(": ")
            if key == "Text":
                text = (self.target / value.strip()).read_text()
                for name in notices.common_licences(text):
                    self.assertGreater((self.target / "common" / name).stat().st_size, 1000)
            elif key in ("Licence", "Source"):
                self.assertTrue(value.strip(), line)

    def test_a_library_without_a_licence_is_a_fault(self):
        [fault] = notices.collect(["/opt/lib/libmine.so"], self.target)
        self.assertIn("libmine.so belongs to no package", fault)
        [fault] = notices.collect([], self.target, documents=self.target)
        self.assertIn("nlohmann-json3-dev has no copyright file", fault)

    def test_the_copyright_file_tells_the_licence(self):
        for text, source, licence in LICENCES:
            with self.subTest(text=text, source=source):
                self.assertEqual(notices.licence_of(text, source), licence)


if __name__ == "__main__":
    unittest.main()
