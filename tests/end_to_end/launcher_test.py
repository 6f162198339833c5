"""The common part of the end-to-end tests: a virtual desktop, a copy of the bundle TARVEX_BUNDLE, and
tests/child.py in the updater's place."""

import collections
import json
import os
import shutil
import tempfile
import unittest
from pathlib import Path

from desktop import Desktop, wait_until

BUNDLE = Path(os.environ["TARVEX_BUNDLE"])
CHILD = Path(__file__).parent.parent / "child.py"
NO_UPDATE = ["print", "UPDATE_CHECK launcher=current client=current\n"]
UPDATE = ["print", "UPDATE_CHECK launcher=current client=available:r5\n"]
GAME = [["print", "Starting Tarvex…\n"], ["wait for", "over"]]
desktop = Desktop()


def setUpModule():
    unittest.enterModuleContext(desktop)


class LauncherTest(unittest.TestCase):
    def setUp(self):
        # A child may outlive its launcher for a moment and still write to the folder.
        self.folder = Path(self.enterContext(
            tempfile.TemporaryDirectory(ignore_cleanup_errors=True))).resolve()
        self.home = self.folder / "home"
        self.home.mkdir()
        self.bundle = self.folder / BUNDLE.name
        shutil.copytree(BUNDLE, self.bundle)
        self.resources = self.bundle / "Contents/Resources"

    def plan(self, **steps):
        """Replaces the updater by tests/child.py with these steps for each mode."""
        shutil.copy(CHILD, self.resources / "client_updater.py")
        (self.resources / "plan.json").write_text(json.dumps(steps), encoding="utf-8")

    def launch(self, *arguments, preexec_fn=None, **environment):
        return self.enterContext(desktop.launch(
            self.bundle, self.home, *arguments, environment=environment, preexec_fn=preexec_fn))

    def wait_for_line(self, launcher, line="x\n"):
        wait_until(lambda: launcher.log.exists() and launcher.log.read_text().endswith(line),
                   "the child's line")

    def ready(self, *arguments, **environment):
        launcher = self.launch(*arguments, **environment)
        launcher.wait_for(button="Play")
        return launcher

    def play_until_hidden(self, launcher):
        launcher.press("Return")
        wait_until(lambda: launcher.window() is None, "the window to hide")
        return launcher

    def children(self):
        calls = self.resources / "calls.jsonl"
        *lines, _ = calls.read_text(encoding="utf-8").split("\n") if calls.exists() else [""]
        return [json.loads(line) for line in lines]  # the last line may be incomplete

    def assert_ended(self, launcher, status=0):
        self.assertEqual(launcher.process.wait(timeout=30), status)

    def terminate(self, launcher):
        launcher.process.terminate()
        self.assert_ended(launcher)

    def wait_for_end_of(self, pid):
        wait_until(lambda: not Path(f"/proc/{pid}").exists(), f"the end of {pid}")


class ServiceTest(LauncherTest):
    """Plays the desktop's services. ANSWERS has the type and the value of each method's reply."""

    def setUp(self):
        super().setUp()
        from gi.repository import Gio, GLib

        self.gio, self.glib = Gio, GLib
        self.calls = {}
        self.call_counts = collections.Counter()
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            os.environ["DBUS_SESSION_BUS_ADDRESS"],
            flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        self.addCleanup(self.bus.close_sync)

    def serve(self, name, path, description):
        interface = self.gio.DBusNodeInfo.new_for_xml(description).interfaces[0]
        self.bus.register_object(path, interface, self.called,
                                 lambda *question: self.glib.Variant(
                                     *{"ProtocolVersion": ("i", 0)}.get(question[-1], ("b", True))))
        self.bus.call_sync("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
                           self.glib.Variant("(su)", (name, 0)), None, 0, -1, None)

    def called(self, _bus, _sender, _path, _interface, method, arguments, invocation):
        self.calls[method] = arguments.unpack()
        self.call_counts[method] += 1
        signature, answer = self.ANSWERS[method]
        invocation.return_value(signature and self.glib.Variant(signature, answer))

    def receive_all(self):
        self.bus.call_sync("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "GetId", None, None,
                           0, -1, None)  # earlier messages arrive before its reply
        while self.glib.MainContext.default().iteration(False):
            pass

    def wait_for_call(self, method):
        def is_called():
            self.glib.MainContext.default().iteration(False)
            return self.calls.get(method)

        return wait_until(is_called, lambda: f"a call of {method}; there were {self.calls}")
