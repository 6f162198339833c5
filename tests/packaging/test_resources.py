"""Puts resources with one fault each into a package."""

import os
import struct
import sys
import tempfile
import unittest
import zlib
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "packaging"))

import resources as packed

ICONS = ROOT / "packaging/icons"
CATALOGUE = '{"schemaVersion": 3, "defaultRegion": "n", "regions": [{"id": "n", "name": "North"}]}'
GOOD = {
    "client_updater.py": 'import modules.one\nprint("UPDATE_CHECK launcher=unknown client=current")',
    "modules/one.py": "from pathlib import Path\nPath(__file__).with_name('written').touch()",
    "launcher-config.json": CATALOGUE,
    "com.tarvex.launcher.svg": (ICONS / "com.tarvex.launcher.svg").read_bytes(),
    "com.tarvex.launcher-48.png": (ICONS / "com.tarvex.launcher-48.png").read_bytes(),
    "com.tarvex.launcher.desktop": "[Desktop Entry]\nType=Application\nName=T\nExec=t",
    "com.tarvex.launcher.metainfo.xml": "<component><id>t</id><name>T</name></component>",
}
UPDATER, CONFIG, SVG, PNG, ENTRY, METAINFO = "client_updater.py", *list(GOOD)[2:]
NO_REGIONS = "The launcher region configuration is invalid."


def text(name, *contents):
    return lambda top: (top / name).write_bytes(
        b"".join(part.encode() if isinstance(part, str) else part for part in contents))


def link(name, target):
    return lambda top: (top / name).symlink_to(target)


def catalogue(old, new):
    return text(CONFIG, CATALOGUE.replace(old, new))


def chunk(kind, body):
    return struct.pack(">I", len(body)) + kind + body + struct.pack(">I", zlib.crc32(kind + body))


FAULTS = [  # the change to good resources, and a part of each line of faults
    (catalogue("}]}", "}]"), "launcher-config.json:", NO_REGIONS),
    (catalogue(': "n", "regions', ': "m", "regions'), "“defaultRegion”", NO_REGIONS),
    (text(UPDATER, "print("), "'client_updater.py' does not compile", "“SyntaxError: ",
     "Couldn’t check"),
    (text("modules/two.py", "def"), "'modules/two.py' does not compile"),
    (text(UPDATER, "import absent"), "No module named 'absent'", "Couldn’t check"),
    (text(UPDATER, "import signal; signal.pause()"), "for 1 s", "failure: the window"),
    (lambda top: (top / UPDATER).unlink(), "No such file", "installation is incomplete"),
    (lambda top: (top / "data").touch(0o000), "'data' cannot be read"),
    (lambda top: (top / "data").mkdir(0o000), "'data' cannot be read"),
    (lambda top: os.mkfifo(top / "pipe"), "'pipe' is neither a file nor a folder"),
    (link("null", "/dev/null"), "'null' leads out of the folder"),
    (link("passwd", "../../../../../../etc/passwd"), "'passwd' leads out of the folder"),
    (link("nothing", "absent"), "'nothing' leads nowhere"),
    (link("circle", "circle"), "'circle' leads nowhere"),
    (link("modules/up", ".."), "'modules/up' leads to a folder that it lies in"),
    (text("a\nb", ""), r"'a\nb' has a character that not every disk takes"),
    (text(b"\xff".decode(errors="surrogateescape"), ""), r"'\udcff' is not Unicode"),
    (text("CLIENT_updater.py", ""), "are one on some disks"),
    (text(SVG, GOOD[PNG]), f"'{SVG}' is not an SVG image"),
    (text(SVG, "<svg/>"), f"'{SVG}' is not an SVG image"),
    (text(PNG, GOOD[SVG]), f"'{PNG}' is not a PNG image"),
    (text(PNG, GOOD[PNG][:-20]), f"'{PNG}' is not a PNG image"),
    (text(PNG, GOOD[PNG].replace(b"IDAT", b"IDAT\0", 1)), f"'{PNG}' is not a PNG image"),
    (text(PNG, (ICONS / "com.tarvex.launcher-32.png").read_bytes()), "of 48 by 48 pixels"),
    (text(PNG, GOOD[PNG][:33], chunk(b"IDAT", zlib.compress(b"few")), chunk(b"IEND", b"")),
     f"'{PNG}' is not a PNG image"),
    (text(ENTRY, GOOD[ENTRY].replace("Exec", "TryExec")), f"'{ENTRY}' is not a desktop entry"),
    (text(ENTRY, GOOD[ENTRY].replace("Type", "#Type")), f"'{ENTRY}' is not a desktop entry"),
    (text(METAINFO, "<component>"), f"'{METAINFO}' is not AppStream metadata"),
    (text(METAINFO, "<component/>"), f"'{METAINFO}' is not AppStream metadata"),
    (lambda top: [link("nothing", "absent")(top), text(SVG, "")(top), catalogue("3", "4")(top)],
     "leads nowhere", "SVG", "“schemaVersion”", NO_REGIONS),
]


class ResourcesTest(unittest.TestCase):
    def faults(self, spoil):
        with tempfile.TemporaryDirectory() as folder:
            top, target = Path(folder, "made"), Path(folder, "target")
            for name, content in GOOD.items():
                (top / name).parent.mkdir(parents=True, exist_ok=True)
                text(name, content)(top)
            spoil(top)
            faults = packed.put(top, target, os.environ["TARVEX_CHECK_UPDATER"], "--timeout", "1")
            return faults, {str(path.relative_to(target)) for path in target.rglob("*")
                            if path.is_file()}

    def test_good_resources_have_no_faults(self):
        def spoil(top):
            link("config.json", CONFIG)(top)
            link("again", "modules")(top)
            (top / "modules/__pycache__").mkdir()
            text("modules/__pycache__/one.cpython-311.pyc", "")(top)

        self.assertEqual(self.faults(spoil), ([], {*GOOD, "config.json", "again/one.py"}))

    def test_every_fault_has_a_line(self):
        for spoil, *expected in FAULTS:
            with self.subTest(expected):
                faults, _ = self.faults(spoil)
                self.assertEqual(len(faults), len(expected), faults)
                for part, fault in zip(expected, faults):
                    self.assertIn(part, fault)
                    self.assertNotIn("\n", fault)


if __name__ == "__main__":
    unittest.main()
