"""Uses the real program from outside, on the virtual desktop of tests/desktop/desktop.py."""

import json
import os
import re
import resource
import shutil
import signal
import unittest
import urllib.parse
from pathlib import Path

import self_update
from desktop import run, wait_until
from walkthrough import SPEED
from web_server import WebServer, point_to
from launcher_test import (BUNDLE, GAME, NO_UPDATE, UPDATE, LauncherTest, ServiceTest, desktop,
                           setUpModule)


@unittest.skipIf("TSAN_OPTIONS" in os.environ, "the thread sanitizer reports the locks of Qt's plugin")
class WaylandTest(LauncherTest):
    def setUp(self):
        super().setUp()
        # Qt leaks there. Its library is unloaded before the report, so no suppression can name it.
        self.environment = {**self.enterContext(desktop.wayland()), "WAYLAND_DEBUG": "client",
                            "ASAN_OPTIONS": "detect_leaks=0"}
        self.errors = self.enterContext(open(self.folder / "errors", "w+"))

    def launch(self, *arguments, **environment):
        return super().launch(*arguments, preexec_fn=lambda: os.dup2(self.errors.fileno(), 2),
                              **self.environment, **environment)

    def test_from_the_first_start_to_the_end_of_the_game(self):
        point_to(self.bundle, self.enterContext(WebServer(BUNDLE.parent / "web", rate=SPEED)).address)
        launcher = self.launch("--", "--seconds", "1", "two words")
        found = launcher.wait_for(button="Update", status="Update available")
        self.assertTrue(found.footer.endswith(" · Game not installed"))
        self.assertEqual(found.progress, None)
        launcher.activate("push button", "Update")
        wait_until(lambda: (look := launcher.look()) and 20 < (look.progress or 0) < 100
                   and not look.busy, "a bar on its way")
        ready = launcher.wait_for(button="Play", status="Ready to play Aurora Reach")
        self.assertRegex(ready.version, r"^Installed 2026\.11\.1  •  source [0-9a-f]{8}$")
        launcher.activate("push button", "Play")
        launcher.wait_for(status="Launching Aurora Reach…")
        wait_until(lambda: not launcher.is_shown(), "the window to hide")
        self.assertIsNone(launcher.process.poll())
        self.assert_ended(launcher)
        log = launcher.log.read_text(encoding="utf-8")
        self.assertRegex(log, r"^\n--- Launcher opened \d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ ---\n"
                              r"Checking for updates\.\nUPDATE_CHECK ")
        self.errors.seek(0)
        protocol, complaints = [], []
        # Qt 6.11 does not know a call of the at-spi2 beside it.
        for line in (one for one in self.errors if not one.startswith("qt.accessibility.atspi: ")):
            (protocol if re.match(r"\[ *[\d.:]+\] ", line) else complaints).append(line)
        self.assertEqual(complaints, [])
        self.assertIn('.set_app_id("com.tarvex.launcher")', "".join(protocol))

    def test_window_has_a_title_bar_and_comes_forward_at_a_second_start(self):
        self.plan(check=[NO_UPDATE])
        launcher = self.ready()
        self.assertIn(("push button", "Minimize"), launcher.controls())
        self.assert_ended(super().launch(**self.environment, XDG_ACTIVATION_TOKEN="x"))
        launcher.activate("push button", "Close")
        self.assert_ended(launcher)
        self.errors.seek(0)
        self.assertEqual(self.errors.read().count(".get_toplevel("), 2)


class EndTest(LauncherTest):
    WAITING = [["print", "x\n"], ["wait for", "never"]]

    def started(self, *steps, **options):
        """A launcher whose check does not end, and the process id of the updater."""
        self.plan(check=[*steps, *self.WAITING])
        launcher = self.launch(**options)
        launcher.wait_for(button="Checking…")
        self.wait_for_line(launcher)
        return launcher, self.children()[0]["pid"]

    def test_every_way_to_end_asks_the_child_to_end(self):
        ways = {
            "SIGTERM": lambda launcher: launcher.process.send_signal(signal.SIGTERM),
            "SIGINT": lambda launcher: launcher.process.send_signal(signal.SIGINT),
            "SIGHUP": lambda launcher: launcher.process.send_signal(signal.SIGHUP),
            "key": lambda launcher: launcher.press("ctrl+q"),
            "window": lambda launcher: launcher.press("alt+F4"),
            "menu": self.quit_by_menu,
        }
        for name, end in ways.items():
            with self.subTest(name):
                launcher, child = self.started()
                end(launcher)
                self.assert_ended(launcher)
                self.wait_for_end_of(child)
                (self.resources / "calls.jsonl").unlink()

    def test_ignored_signals_stay_ignored_and_no_child_is_killed(self):
        under_nohup = lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN)
        launcher, child = self.started(["ignore terminate"], preexec_fn=under_nohup)
        for pid in child, launcher.process.pid:
            os.kill(pid, signal.SIGHUP)
        launcher.wait_for(button="Checking…")
        self.terminate(launcher)
        self.assertTrue(Path(f"/proc/{child}").exists())
        (self.resources / "never").touch()
        self.wait_for_end_of(child)

    def quit_by_menu(self, launcher):
        launcher.click("label", "Launcher status", button=3)
        wait_until(lambda: run("xdotool", "search", "--all", "--onlyvisible", "--pid",
                               str(launcher.process.pid), "--class", ".").count("\n") > 1,
                   "the menu")
        launcher.press("Down", "Return")

    def test_game_keeps_the_launcher_until_it_fails(self):
        self.plan(check=[NO_UPDATE], play=[*GAME, ["exit", 1]])
        launcher = self.ready()
        launcher.press("Return")
        launcher.wait_for(status="Launching Aurora Reach…")
        run("xdotool", "key", "alt+F4")  # without waiting for the focus: the window hides soon
        wait_until(lambda: launcher.window() is None, "the window to hide")
        for request in (signal.SIGTERM, signal.SIGHUP):
            launcher.process.send_signal(request)
            self.assertIsNotNone(launcher.look())  # its event loop has had a turn since
        self.assertTrue(Path(f"/proc/{self.children()[-1]['pid']}").exists())
        (self.resources / "over").touch()
        launcher.wait_for(status="Couldn’t start the game",
                          version="The game closed unexpectedly. You can try again.")
        self.assertIsNone(launcher.window())
        self.terminate(launcher)


class RelaunchTest(LauncherTest):
    GAME_ARGUMENTS = ["--seconds", "1", "two words", "it's \"quoted\" $HOME", "", "x" * 4096, "--"]
    INSTALLS = [["print", "Installed launcher x. Restarting…\n"]]

    def setUp(self):
        super().setUp()
        self.contents = self.bundle / "Contents"
        self.program = self.contents / "Linux/tarvex-launcher"
        self_update.set_version(self.bundle, self_update.OLD)

    def test_from_the_old_launcher_to_the_game(self):
        web = self.folder / "web"
        shutil.copytree(BUNDLE.parent / "web", web)
        point_to(self.bundle, self.enterContext(WebServer(web)).address)
        self_update.offer_newer(self.bundle, web)
        launcher = self.launch("--region", "mossgate", "--", *self.GAME_ARGUMENTS)
        found = launcher.wait_for(button="Update", status="Launcher update available")
        self.assertIn(f"Launcher {self_update.OLD} ·", found.footer)
        launcher.click("push button", "Update")
        with launcher.successor() as new:
            self.assert_ended(launcher)
            ready = new.wait_for(button="Play", status="Ready to play Mossgate Hollow")
            self.assertIn(f"Launcher {self_update.NEW} · Game 1.4.1.", ready.footer)
            wait_until(lambda: len(list(self.folder.glob("*.app*"))) == 1, "nothing but the bundle")
            new.press("Return")
            new.process.wait(30)
        log = new.log.read_text(encoding="utf-8")
        self.assertRegex(log, r"\nStarted the updated launcher\.\n\n--- Launcher opened ")
        told = re.search(r"\nStarting Tarvex…\nGame arguments: (.*)\n", log)[1]
        self.assertEqual(json.loads(told), self.GAME_ARGUMENTS)

    def test_arguments_and_descriptors_of_the_new_instance(self):
        self.plan(check=[UPDATE], update=self.INSTALLS, play=[["wait for", "never"]])
        launcher = self.launch("--region", "mossgate", "--no-self-update", "--", *self.GAME_ARGUMENTS)
        launcher.wait_for(button="Update")
        self_update.set_version(self.bundle, self_update.NEW)
        self.program.unlink()
        updater = self.resources / "client_updater.py"
        self.program.write_text(f'#!/bin/sh\nexec /usr/bin/python3 "{updater}" "$@"\n')
        self.program.chmod(0o755)
        launcher.press("Return")
        self.assert_ended(launcher)
        _, _, new = wait_until(lambda: len(self.children()) == 3 and self.children(), "the new instance")
        expected = ["--region", "mossgate", "--continue", "--relaunched-from", self_update.OLD,
                    "--no-self-update", "--", *self.GAME_ARGUMENTS]
        self.assertEqual(new["arguments"], expected)
        self.assertEqual(os.getsid(new["pid"]), new["pid"])
        descriptors = lambda: sorted(os.listdir(f"/proc/{new['pid']}/fd"))
        wait_until(lambda: descriptors() == ["0", "1", "2"], descriptors)

    def test_failures_are_told_apart_and_retry_works(self):
        def named(value):
            text = f"<plist><dict><key>CFBundleExecutable</key>{value}</dict></plist>"
            return lambda: information.write_text(text)

        def program(text):
            return lambda: (self.program.write_text(text), self.program.chmod(0o755))

        def move_away():
            self.bundle.rename(self.folder / "away")

        information = self.contents / "Info.plist"
        rows = [  # the exit status, and the fault of the bundle
            (1, program("#!/nonexistent\n")),
            (3, move_away),
            (4, lambda: (move_away(), self.bundle.touch())),
            (5, information.unlink),
            (5, lambda: information.write_text("<plist><dict>")),
            (5, named("<string></string>")),
            (5, named("<string>..</string>")),
            (5, named("<string>/usr/bin/true</string>")),
            (6, lambda: None),
            (7, lambda: self.program.symlink_to(self.program)),  # unreadable even for root
            (8, self.program.touch),
            (8, program("no program")),
            (8, self.program.mkdir),
        ]
        whole, go, errors = (self.folder / name for name in ("whole", "go", "errors"))
        self.plan(check=[UPDATE],
                  update=[["print", "x\n"], ["wait for", str(go)], *self.INSTALLS])
        shutil.copytree(self.bundle, whole)
        errors.touch()
        launcher = self.launch(
            preexec_fn=lambda: os.dup2(os.open(errors, os.O_WRONLY | os.O_APPEND), 2))
        for number, (status, break_bundle) in enumerate(rows, 1):
            launcher.wait_for(button="Update")
            launcher.press("Return")
            self.wait_for_line(launcher)
            self.program.unlink()
            break_bundle()
            go.touch()
            launcher.wait_for(
                button="Retry", status="Couldn’t start the game", log_button=True,
                version="The updated launcher was installed but could not be started.")
            entry = f"\nThe updated launcher would not start (open exited {status}).\n"
            self.assertTrue(launcher.log.read_text().endswith(entry), f"not {status}, row {number}")
            self.assertEqual(len(re.findall("^open: ", errors.read_text(), re.M)), number)
            go.unlink()
            move_away() if status not in (3, 4) else self.bundle.unlink(missing_ok=True)
            shutil.rmtree(self.folder / "away")
            shutil.copytree(whole, self.bundle)
            launcher.press("Return")


class RunTest(LauncherTest):
    def test_arguments_environment_and_descriptors_of_a_run(self):
        self_update.set_version(self.bundle, self_update.OLD)
        self.plan(check=[["descriptors"], ["print", "\n"], ["flood", 5000], UPDATE])
        launcher = self.launch("-platform", "minimal", "--region", "mossgate", "--no-self-update",
                               "--relaunched-from", "0123456789abcdef", "--", "-style", "x",
                               PYTHONUNBUFFERED="0", PYTHONUNBUFFEREDX="a=b")
        launcher.wait_for(button="Update", region="Mossgate Hollow")
        [call] = self.children()
        self.assertEqual(call["arguments"], [
            "--config", str(self.resources / "launcher-config.json"), "--region", "mossgate",
            "--launcher-bundle", str(self.bundle), "--launcher-version", self_update.OLD,
            "--relaunched-from", "0123456789abcdef", "--no-self-update", "--check"])
        self.assertEqual(call["environment"].pop("PYTHONUNBUFFERED"), "1")
        own = dict(entry.split("=", 1) for entry in Path(
            f"/proc/{launcher.process.pid}/environ").read_text().split("\0") if entry)
        own.pop("PYTHONUNBUFFERED")
        call["environment"].pop("LC_CTYPE", None)  # set by Python
        own.pop("LC_CTYPE", None)
        self.assertEqual(call["environment"], own)
        self.assertIn("\n0 1 2\n", launcher.log.read_text())
        lines = [line for line in launcher.log.read_text().splitlines() if "of a flood" in line]
        self.assertEqual([int(line.split()[1]) for line in lines], list(range(5000)))

    def test_signals_left_blocked_or_ignored_by_the_parent_do_no_harm(self):
        def hostile():
            for ignored in (signal.SIGCHLD, signal.SIGPIPE, signal.SIGXFSZ):
                signal.signal(ignored, signal.SIG_DFL)
            signal.signal(signal.SIGCHLD, signal.SIG_IGN)
            signal.pthread_sigmask(signal.SIG_BLOCK,
                                   [signal.SIGTERM, signal.SIGINT, signal.SIGHUP])

        self.plan(check=[["wait for", "on"], ["print", "x" * 300 + "\nshort\n"], NO_UPDATE,
                         ["exit", 3]])
        launcher = self.launch(preexec_fn=hostile)
        launcher.wait_for(button="Checking…")
        resource.prlimit(launcher.process.pid, resource.RLIMIT_FSIZE,
                         (200, resource.RLIM_INFINITY))
        (self.resources / "on").touch()
        launcher.wait_for(button="Retry", status="Couldn’t check for updates")
        self.assertNotIn("xx", launcher.log.read_text())  # whole entries only
        self.assertIn("\nshort\n", launcher.log.read_text())
        self.terminate(launcher)


class LogTest(ServiceTest):
    """The ways to the log's viewer. Each is tried when those before it are missing or fail."""

    PORTAL = """<node><interface name="org.freedesktop.portal.OpenURI">
      <method name="OpenFile"><arg type="s"/><arg type="h"/><arg type="a{sv}"/>
        <arg type="o" direction="out"/></method></interface></node>"""
    PATH = "/org/freedesktop/portal/desktop"

    def called(self, bus, sender, path, _interface, method, arguments, invocation):
        [descriptor] = invocation.get_message().get_unix_fd_list().steal_fds()
        options = arguments.unpack()[2]
        request = f"{path}/request/{sender[1:].replace('.', '_')}/{options['handle_token']}"
        invocation.return_value(self.glib.Variant("(o)", (request,)))
        bus.emit_signal(None, request, "org.freedesktop.portal.Request", "Response",
                        self.glib.Variant("(ua{sv})", (self.response, {})))
        self.calls[method] = os.readlink(f"/proc/self/fd/{descriptor}")
        os.close(descriptor)

    def program(self, name, then=""):
        """A program that writes its first argument to a file. Returns the file's path."""
        program, note = self.folder / name, self.folder / f"{name} was given"
        program.write_text(f'#!/bin/sh\nprintf %s "$1" > "{note}.part"\n'
                           f'/bin/mv "{note}.part" "{note}"\n{then}\n')
        program.chmod(0o755)
        return note

    def click(self, **environment):
        self.plan(check=[])
        launcher = self.launch(PATH=str(self.folder), XDG_DATA_DIRS=str(self.folder), **environment)
        launcher.wait_for(button="Retry", log_button=True)
        launcher.click("push button", "View Log")
        return launcher

    def assert_noted(self, note, expected):
        wait_until(note.exists, note)
        self.assertEqual(urllib.parse.unquote_to_bytes(note.read_bytes()), os.fsencode(expected))
        note.unlink()

    def test_each_way_is_tried_when_those_before_it_fail(self):
        self.home /= os.fsdecode(b"\xff")
        applications, settings = self.home / ".local/share/applications", self.home / ".config"
        for folder in applications, settings:
            folder.mkdir(parents=True)
        (applications / "viewer.desktop").write_text(f'[Desktop Entry]\nExec="{self.folder}/viewer" %f\n')
        (settings / "mimeapps.list").write_text("[Default Applications]\ntext/plain=viewer.desktop\n")
        viewer = self.program("viewer")
        launcher = self.click()
        self.assert_noted(viewer, launcher.log)
        self.serve("org.freedesktop.portal.Desktop", self.PATH, self.PORTAL)
        for end_of_opener, self.response in ("exit 3", 2), ("exit 3", 0), ("exit 0", 0):
            opened = self.program("xdg-open", end_of_opener)
            launcher.click("push button", "View Log")
            self.assert_noted(opened, f"file://{launcher.log}")
            if end_of_opener == "exit 3":
                self.assertEqual(self.wait_for_call("OpenFile"), str(launcher.log))
                self.calls.clear()
            if self.response == 2:
                self.assert_noted(viewer, launcher.log)
        self.terminate(launcher)
        self.receive_all()
        self.assertEqual((self.calls, viewer.exists()), ({}, False))

    def test_every_way_fails_and_return_checks_again(self):
        # With this desktop's theme, Return presses the control with the focus.
        launcher = self.click(XDG_CURRENT_DESKTOP="GNOME")
        for checks in range(2, 6):
            launcher.press("Tab", "Return")
            wait_until(lambda: len(self.children()) == checks, f"check {checks}")
            launcher.wait_for(button="Retry", log_button=True)


class HiddenTest(ServiceTest):
    """The notification and the status icon while the window is hidden."""

    NOTIFICATIONS = """<node><interface name="org.freedesktop.Notifications">
      <method name="GetCapabilities"><arg type="as" direction="out"/></method>
      <method name="Notify"><arg type="s"/><arg type="u"/><arg type="s"/><arg type="s"/><arg type="s"/>
        <arg type="as"/><arg type="a{sv}"/><arg type="i"/><arg type="u" direction="out"/></method>
      </interface></node>"""
    WATCHER = """<node><interface name="org.kde.StatusNotifierWatcher">
      <method name="RegisterStatusNotifierItem"><arg type="s"/></method>
      <property name="IsStatusNotifierHostRegistered" type="b" access="read"/>
      <property name="ProtocolVersion" type="i" access="read"/></interface></node>"""
    ANSWERS = {"GetCapabilities": ("(as)", (["body-markup", "actions"],)), "Notify": ("(u)", (7,)),
               "RegisterStatusNotifierItem": (None, None)}

    def test_status_icon_and_the_notification_of_a_failure(self):
        self.serve("org.freedesktop.Notifications", "/org/freedesktop/Notifications",
                   self.NOTIFICATIONS)
        self.serve("org.kde.StatusNotifierWatcher", "/StatusNotifierWatcher", self.WATCHER)
        self.plan(check=[NO_UPDATE], play=[
            ["print", "Starting Tarvex…\n" * 3000], ["wait for", "over"],
            ["print", "Installed launcher x Restarting…\n"],
            ["print", "Tarvex launcher error: " + "e\u0301<" * 5000 + "\n"], ["exit", 1]])
        updater = self.resources / "client_updater.py"
        elsewhere = updater.rename(self.folder / "elsewhere")
        launcher = self.launch()
        launcher.wait_for(button="Retry")  # the window is visible still: no notification
        elsewhere.rename(updater)
        launcher.press("Return")
        launcher.wait_for(button="Play")
        self.assertEqual(self.calls, {})
        self.play_until_hidden(launcher)
        [item] = self.wait_for_call("RegisterStatusNotifierItem")

        def ask(interface, method, signature, *arguments):
            return self.bus.call_sync(item, "/StatusNotifierItem", interface, method,
                                      self.glib.Variant(signature, arguments), None, 0, -1, None)

        own = "org.kde.StatusNotifierItem"
        title = ask("org.freedesktop.DBus.Properties", "Get", "(ss)", own, "Title")
        self.assertEqual(title.unpack(), ("Tarvex",))

        def menu():
            # Again, as a player would: under load, one click in thirty right after the hiding opens nothing.
            ask(own, "Activate", "(ii)", 10, 10)
            return run("xdotool", "search", "--onlyvisible", "--pid", str(launcher.process.pid),
                       "--class", ".")

        wait_until(menu, "the menu")
        self.assertNotIn("Notify", self.calls)
        (self.resources / "over").touch()
        _, _, _, summary, body, actions, _, _ = self.wait_for_call("Notify")
        self.assertEqual(summary, "Couldn’t start the game")
        self.assertEqual(body, "e\u0301&lt;" * 333 + "…")  # cut at a whole character
        key, title = actions
        self.assertEqual(title, "Quit Tarvex Launcher")
        wait_until(lambda: launcher.look() is not None, "the answer to arrive")
        self.bus.emit_signal(None, "/org/freedesktop/Notifications",
                             "org.freedesktop.Notifications", "ActionInvoked",
                             self.glib.Variant("(us)", (7, key)))
        self.assert_ended(launcher)
        self.receive_all()
        self.assertEqual(self.call_counts["Notify"], 1)


class WindowTest(LauncherTest):
    def test_window_is_dragged_by_its_background(self):
        self.plan(check=[])
        launcher = self.launch()
        launcher.wait_for(button="Retry", log_button=True)
        for role, name, is_handle in [
                ("push button", "Retry", False), ("push button", "View Log", False),
                ("label", "Launcher and game version", False), ("label", "Tarvex", True),
                ("label", "Launcher status", True), ("filler", "", True)]:
            with self.subTest(name):
                before = launcher.geometry()
                launcher.point_at(role, name)
                run("xdotool", "mousedown", "1")
                for _ in range(20):
                    run("xdotool", "mousemove_relative", "2", "2")
                if is_handle:
                    wait_until(lambda: launcher.geometry() != before, "a step")
                self.assertIsNotNone(launcher.look())  # it has handled the moves
                run("xdotool", "mouseup", "1")
                self.assertEqual(launcher.geometry() != before, is_handle)

    def test_window_is_dark_before_it_is_drawn(self):
        self.plan(check=[])
        launcher = self.launch()
        launcher.wait_for(button="Retry")
        window = launcher.window()
        run("xdotool", "windowminimize", window)
        wait_until(lambda: launcher.window() is None, "the window to go")
        launcher.process.send_signal(signal.SIGSTOP)
        run("xdotool", "windowmap", window)
        wait_until(launcher.window, "the window to come back")

        def colours():
            picture = self.folder / "window.txt"  # one line for each pixel
            launcher.take_picture(picture)
            return set(re.findall("#[0-9A-F]+", picture.read_text()))

        wait_until(lambda: colours() == {"#0E0E1B1B1515"}, colours)

    def test_changes_are_announced(self):
        from gi.repository import GLib

        heard = set()

        def hear(event):
            heard.add((event.type.split(":system")[0], event.source.get_name(),
                       event.any_data if isinstance(event.any_data, str) else event.detail1))

        listener = desktop.atspi.EventListener.new(hear)
        # Qt's bridge sends no event when the bar becomes busy; the state can only be read.
        kinds = ("object:text-changed:insert", "object:property-change:accessible-value",
                 "object:property-change:accessible-name", "object:state-changed:sensitive")
        for kind in kinds:
            listener.register(kind)
            self.addCleanup(listener.deregister, kind)
        self.plan(check=[["wait for", "on"], UPDATE],
                  update=[["print", "Downloading client: 40%\n"], ["wait for", "over"]])
        launcher = self.launch()
        launcher.wait_for(button="Checking…")
        (self.resources / "on").touch()
        launcher.wait_for(button="Update")
        launcher.press("Return")
        launcher.wait_for(status="Downloading update — 40%")

        texts = {("Launcher status", "Update available"), ("Installed version", "Version r5"),
                 ("Launcher status", "Downloading update — 40%")}

        def is_announced():
            while GLib.MainContext.default().iteration(False):
                pass
            return ({kind for kind, _, _ in heard} == set(kinds)
                    and texts <= {(name, text) for kind, name, text in heard if kind == kinds[0]})

        wait_until(is_announced, lambda: f"announcements; heard {sorted(map(str, heard))}")

    @unittest.skipIf("TSAN_OPTIONS" in os.environ, "the thread sanitizer's own thread never rests")
    def test_idle_launcher_sleeps(self):
        self.plan(check=[NO_UPDATE])
        launcher = self.ready()

        def wake_ups():
            return sum(int(re.search(r"^voluntary_ctxt_switches:\s*(\d+)", path.read_text(), re.M)[1])
                       for path in Path(f"/proc/{launcher.process.pid}/task").glob("*/status"))

        def stays_quiet():
            before = wake_ups()
            run("sleep", "1")
            return wake_ups() == before

        wait_until(stays_quiet, "a second without a wake-up")

    def test_lost_display_ends_the_child(self):
        self.plan(check=EndTest.WAITING)
        display, server = desktop.started(["Xvfb", "-displayfd", "{fd}", "-nolisten", "tcp"])
        launcher = self.launch(DISPLAY=f":{display}", XDG_RUNTIME_DIR=str(self.folder))
        self.wait_for_line(launcher)
        server.terminate()
        self.assertNotEqual(launcher.process.wait(timeout=30), 0)
        self.wait_for_end_of(self.children()[0]["pid"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
