"""A second start of the launcher, in every state of the launcher that runs already."""

import ctypes
import signal
import socket
import unittest

from desktop import run, wait_until
from launcher_test import GAME, NO_UPDATE, ServiceTest, setUpModule


class RootMessages:
    """The messages that programs send to the root window, for window managers and panels."""

    class Event(ctypes.Structure):
        _fields_ = [("kind", ctypes.c_int), ("serial", ctypes.c_ulong), ("sent", ctypes.c_int),
                    ("display", ctypes.c_void_p), ("window", ctypes.c_ulong),
                    ("name", ctypes.c_ulong), ("format", ctypes.c_int),
                    ("data", ctypes.c_long * 5), ("rest", ctypes.c_long * 12)]

    def __init__(self):
        self._x11 = ctypes.CDLL("libX11.so.6")
        for function in ("XOpenDisplay", "XDefaultRootWindow", "XGetAtomName"):
            getattr(self._x11, function).restype = ctypes.c_void_p
        self._x11.XGetAtomName.restype = ctypes.c_char_p
        self._display = ctypes.c_void_p(self._x11.XOpenDisplay(None))
        root = ctypes.c_void_p(self._x11.XDefaultRootWindow(self._display))
        substructure_notify, property_change = 1 << 19, 1 << 22
        self._x11.XSelectInput(self._display, root, substructure_notify | property_change)
        self._x11.XSync(self._display, False)

    def read(self):
        """The name and the data (numbers or bytes) of each message that has arrived."""
        client_message, event = 33, self.Event()
        while self._x11.XPending(self._display):
            self._x11.XNextEvent(self._display, ctypes.byref(event))
            if event.kind == client_message:
                name = self._x11.XGetAtomName(self._display, ctypes.c_ulong(event.name)).decode()
                yield name, bytes(event.data)[:20] if event.format == 8 else list(event.data)

    def close(self):
        self._x11.XCloseDisplay(self._display)


class SecondStartTest(ServiceTest):
    def setUp(self):
        super().setUp()
        self.plan(check=[NO_UPDATE], play=[*GAME, ["exit", 1]])

    def cover(self):
        """Puts the window of another player's launcher in front."""
        self.wait_until_in_front(self.ready("--", HOME=str(self.folder)))

    def wait_until_in_front(self, launcher):
        def in_front():
            window = launcher.window()
            stack = run("xprop", "-root", "_NET_CLIENT_LIST_STACKING").split()
            return (window and run("xdotool", "getactivewindow").split() == [window]
                    and int(stack[-1], 16) == int(window))

        wait_until(in_front, "the window in front")

    def assert_second_start_ends(self, launcher, **environment):
        def ends():
            logged = launcher.log.read_text()
            with self.launch(**environment) as second:
                wait_until(lambda: second.process.poll() is not None or second.window(), "a decision")
                if second.process.poll() is None:  # the machine was too busy to answer in time
                    return False
            self.assertEqual(second.process.returncode, 0)
            self.assertEqual(launcher.log.read_text(), logged)
            return True

        wait_until(ends, "a second start that ends")
        self.wait_until_in_front(launcher)

    def test_window_comes_forward(self):
        def minimise(launcher):
            run("xdotool", "windowminimize", launcher.window())
            wait_until(lambda: launcher.window() is None, "the window to go")

        def link_home(_):
            (self.folder / "link").symlink_to(self.home)
            return {"HOME": str(self.folder / "link")}

        states = {
            "behind another": ({}, lambda _: self.cover()),
            "minimised": ({}, minimise),
            "started with arguments": (["--region", "mossgate"], lambda _: self.cover()),
            "the same home by another path": ({}, link_home),
            "after an earlier second start": ({}, self.assert_second_start_ends),
        }
        for name, (arguments, prepare) in states.items():
            with self.subTest(name), self.ready(*arguments) as launcher:
                self.assert_second_start_ends(launcher, **(prepare(launcher) or {}))

    def test_window_comes_forward_while_a_run_is_alive(self):
        self.plan(check=[["print", "x\n"], ["wait for", "on"], NO_UPDATE])
        launcher = self.launch()
        self.wait_for_line(launcher)
        self.assert_second_start_ends(launcher)
        self.assertEqual(len(self.children()), 1)

    def test_desktop_learns_when_the_player_asked_and_that_the_start_is_over(self):
        launcher = self.ready()
        messages = RootMessages()
        self.addCleanup(messages.close)
        started = 'menu/"1"-0-host_TIME{}'
        for startup_id, time_stamp in ((started.format(4000000000), 4000000000),
                                       (started.format(""), None), (None, None)):
            self.assert_ended(self.launch(DESKTOP_STARTUP_ID=startup_id))
            self.assertIsNotNone(launcher.look())  # its event loop has had a turn since
            seen = list(messages.read())
            [*_, (source, moment, *_)] = [data for name, data in seen if name == "_NET_ACTIVE_WINDOW"]
            self.assertEqual(source, 1)
            self.assertTrue(moment % 2**32 == time_stamp if time_stamp else moment > 0, moment)
            told = b"".join(data for name, data in seen if name.startswith("_NET_STARTUP_INFO"))
            escaped = (startup_id or "").replace('"', '\\"')
            self.assertEqual(told.rstrip(b"\0").decode(),
                             f'remove: ID="{escaped}"' if startup_id else "")

    def test_launcher_behind_its_game_is_left_alone(self):
        for arguments in [], ["--region", "mossgate"]:
            with self.subTest(arguments), self.play_until_hidden(self.ready(*arguments)) as hidden:
                second = self.ready()
                self.assert_second_start_ends(second)  # by a third launcher
                self.assertIsNone(hidden.window())
                self.terminate(second)
                self.assertIsNone(hidden.process.poll())
                self.ready().process.terminate()

    def test_launcher_whose_game_is_over_makes_way(self):
        hidden = self.play_until_hidden(self.ready())
        (self.resources / "over").touch()
        hidden.wait_for(status="Couldn’t start the game")
        second = self.ready()
        self.assert_ended(hidden)
        self.assert_second_start_ends(second)

    def test_launcher_that_does_not_answer_is_replaced(self):
        hung = self.ready()
        hung.process.send_signal(signal.SIGSTOP)
        second = self.ready()
        self.assert_second_start_ends(second)
        hung.process.send_signal(signal.SIGCONT)

    def test_start_with_arguments_is_no_second_start(self):
        first = self.ready()
        for arguments in ["--continue"], ["--"], ["-x"]:
            with self.subTest(arguments), self.ready(*arguments) as other:
                self.assertIsNone(first.process.poll())
                self.terminate(other)

    def test_of_two_at_once_one_stays(self):
        def one_stays():
            with self.launch() as one, self.launch() as other:
                log, pair = one.log, (one, other)
                before = log.stat().st_size if log.exists() else 0
                wait_until(lambda: all(each.process.poll() is not None or each.window()
                                       for each in pair), "two decisions")
                if all(each.process.poll() is None for each in pair):  # too busy, as above
                    return False
                self.assertEqual({each.process.poll() for each in pair}, {0, None})
                self.assertEqual(log.read_text()[before:].count("--- Launcher opened"), 1)
                return True

        wait_until(one_stays, "a pair of which one ends")

    def test_without_a_bus_every_start_is_the_first(self):
        folder = self.folder / "runtime"
        folder.mkdir(mode=0o700)
        for hangs in False, True:
            with self.subTest(hangs), socket.socket(socket.AF_UNIX) as bus:
                if hangs:  # a socket that accepts connections and never answers
                    bus.bind(str(folder / "bus"))
                    bus.listen()
                for _ in range(2):
                    launcher = self.launch(DBUS_SESSION_BUS_ADDRESS=None, XDG_RUNTIME_DIR=str(folder))
                    wait_until(launcher.window, "the window")

    def test_other_calls_are_refused(self):
        def ask(name, method, arguments):
            interface, _, method = method.rpartition(".")
            return self.bus.call_sync(name, "/" + name.replace(".", "/"), interface, method, arguments,
                                      None, 0, -1, None).unpack()

        launcher = self.ready()
        variant = self.glib.Variant
        [names] = ask("org.freedesktop.DBus", "org.freedesktop.DBus.ListNames", None)
        [name] = [name for name in names if name.startswith("com.tarvex.launcher.s")]
        data = variant("(a{sv})", ({"other": variant("i", 1),
                                     "desktop-startup-id": variant("s", "")},))
        for method, arguments in [
                ("org.freedesktop.Application.Open", variant("(asa{sv})", ([], {}))),
                ("org.freedesktop.Application.ActivateAction", variant("(sava{sv})", ("x", [], {}))),
                ("org.freedesktop.Application.Activate", None),
                ("org.freedesktop.Application.Activate", variant("(s)", ("x",))),
                ("com.tarvex.launcher.Activate", data)]:
            with self.subTest(method), self.assertRaises(self.glib.Error):
                ask(name, method, arguments)
        self.cover()
        self.assertEqual(ask(name, "org.freedesktop.Application.Activate", data), ())
        self.wait_until_in_front(launcher)


if __name__ == "__main__":
    unittest.main(verbosity=2)
