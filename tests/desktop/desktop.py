"""A virtual desktop for using the launcher as a player would: an X display with a window manager, a
session bus and the accessibility services. The launcher's window is read through AT-SPI and used with
a real pointer and keyboard.

Needs /usr/bin/python3 with Debian's python3-gi and gir1.2-atspi-2.0. A process can have only one
desktop at a time, because the accessibility client belongs to the process.
"""

import contextlib
import os
import re
import select
import shutil
import signal
import subprocess
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

PATIENCE = 30  # seconds until a wait has failed

OTHER_BUTTONS = ("View Log", "Minimize", "Close")  # all but the primary button


def wait_until(condition, what, patience=PATIENCE):
    """Waits until condition() is true and returns its value."""
    end = time.monotonic() + patience
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise TimeoutError(f"waited {patience} s in vain for {what() if callable(what) else what}")
        time.sleep(0.02)


@dataclass(frozen=True)
class Look:
    """The content of the window, as assistive technology reads it."""

    status: str
    version: str
    footer: str
    region: str
    region_open: bool
    button: str
    button_enabled: bool
    log_button: bool
    progress: float | None  # None: hidden
    busy: bool


class Desktop:
    """A context manager. It ends everything that it has started. With a folder `pixels`, the display
    keeps its pixels there, in the file Xvfb_screen0."""

    def __init__(self, screen="1024x768x24", pixels=None):
        self._screen = screen
        self._options = [] if pixels is None else ["-fbdir", str(pixels)]
        self._processes = []

    def __enter__(self):
        import gi

        gi.require_version("Atspi", "2.0")
        from gi.repository import Atspi

        self.atspi = Atspi
        self._runtime = tempfile.mkdtemp(prefix="tarvex-desktop-")
        os.environ["XDG_RUNTIME_DIR"] = self._runtime
        # The environment of the developer's session must not change the test.
        for name in ("XDG_CONFIG_HOME", "XDG_DATA_HOME", "WAYLAND_DISPLAY", "QT_QPA_PLATFORM"):
            os.environ.pop(name, None)
        display, _ = self.started(
            ["Xvfb", "-displayfd", "{fd}", "-screen", "0", self._screen, "-nolisten", "tcp",
             "-noreset",  # otherwise the last client's end resets the display for new ones
             *self._options])
        os.environ["DISPLAY"] = f":{display}"
        os.environ["DBUS_SESSION_BUS_ADDRESS"], _ = self.started(
            ["dbus-daemon", "--session", "--nofork", "--print-address={fd}"])
        self._processes.append(subprocess.Popen(
            ["openbox"], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL))
        wait_until(lambda: "window id" in run("xprop", "-root", "_NET_SUPPORTING_WM_CHECK"),
                   "the window manager")
        self.atspi.init()
        return self

    def __exit__(self, *exception):
        self.atspi.exit()
        for process in reversed(self._processes):
            process.terminate()
            process.wait()
        shutil.rmtree(self._runtime, ignore_errors=True)

    def started(self, command):
        """Starts a server that writes its address to the descriptor {fd}. Returns the address and the
        process."""
        reading, writing = os.pipe()
        process = subprocess.Popen([word.format(fd=writing) for word in command],
                                   pass_fds=[writing], stderr=subprocess.DEVNULL)
        self._processes.append(process)
        os.close(writing)
        with os.fdopen(reading) as answer:
            return answer.readline().strip(), process

    @contextlib.contextmanager
    def wayland(self):
        """Runs a Wayland compositor without screen, pointer and keyboard. Yields the environment for
        its clients."""
        with subprocess.Popen(["weston", "--backend=headless-backend.so", "--socket=wayland"],
                              stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL) as compositor:
            try:
                wait_until(Path(self._runtime, "wayland").exists, "the compositor")
                yield {"QT_QPA_PLATFORM": "wayland", "WAYLAND_DISPLAY": "wayland"}
            finally:
                compositor.terminate()

    def launch(self, bundle, home, *arguments, environment=None, preexec_fn=None):
        """Starts a launcher. An entry of the environment that is None is removed."""
        program = Path(bundle) / "Contents/Linux/tarvex-launcher"
        entries = {**os.environ, "HOME": str(home), "QT_LINUX_ACCESSIBILITY_ALWAYS_ON": "1",
                   **(environment or {})}
        return Launcher(self, home, program, subprocess.Popen(
            [program, *arguments],
            env={name: value for name, value in entries.items() if value is not None},
            preexec_fn=preexec_fn))


class ForeignProcess:
    """A process that is not our child, with a part of Popen's interface. Its status is unknown."""

    def __init__(self, pid):
        self.pid = pid
        self._descriptor = os.pidfd_open(pid)

    def poll(self):
        return self.wait(timeout=0)

    def wait(self, timeout=None):
        """0 when the process has ended, None at the time-out."""
        return 0 if select.select([self._descriptor], [], [], timeout)[0] else None

    def kill(self):
        signal.pidfd_send_signal(self._descriptor, signal.SIGKILL)


class Launcher:
    """A running launcher and its window."""

    def __init__(self, desktop, home, program, process):
        self.desktop = desktop
        self.home = Path(home)
        self.log = self.home / "Library/Application Support/Tarvex/launcher.log"
        self.process = process
        self._program = program
        self._frame = None

    def successor(self):
        """The launcher that this one has started after an update."""

        def find():
            for pid in (int(name) for name in os.listdir("/proc") if name.isdigit()):
                with contextlib.suppress(OSError):  # it has ended, or belongs to another user
                    command = Path(f"/proc/{pid}/cmdline").read_bytes().split(b"\0")
                    # Between its start and its exec, any child still runs the launcher's program.
                    if command[0] == os.fsencode(self._program) and (
                            os.getsid(pid) == pid != self.process.pid):
                        return pid
            return None

        pid = wait_until(find, "the next instance")
        return Launcher(self.desktop, self.home, self._program, ForeignProcess(pid))

    def __enter__(self):
        return self

    def __exit__(self, *exception):
        if self.process.poll() is None:
            self.process.kill()
        self.process.wait()

    def frame(self):
        """The window in the accessibility tree, or None before it exists."""
        if self._frame is None:
            root = self.desktop.atspi.get_desktop(0)
            for index in range(root.get_child_count()):
                application = root.get_child_at_index(index)
                if application is not None and application.get_process_id() == self.process.pid:
                    self._frame = application.get_child_at_index(0)
        return self._frame

    def controls(self):
        """All accessible objects of the window, by role and name."""
        found = {}
        pending = [self.frame()]
        while pending:
            one = pending.pop()
            if one is None:  # removed meanwhile
                continue
            one.clear_cache()
            role = one.get_role_name()
            role = "push button" if role == "button" else role  # its name on Debian 13
            found.setdefault((role, one.get_name()), one)
            pending.extend(one.get_child_at_index(index)
                           for index in range(one.get_child_count()))
        return found

    def look(self):
        """The content of the window now, or None while it cannot be read."""
        from gi.repository import GLib

        try:
            if self.frame() is None:
                return None
            found = self.controls()
            state = self.desktop.atspi.StateType

            def has(control, wanted):
                return control.get_state_set().contains(wanted)

            def text(role, name):
                return self.desktop.atspi.Text.get_text(found[role, name], 0, -1)

            [button] = [one for (role, name), one in found.items()
                        if role == "push button" and name not in OTHER_BUTTONS]
            region = found["combo box", "Region"]
            [progress] = [one for (role, _), one in found.items() if role == "progress bar"]
            return Look(
                status=text("label", "Launcher status"),
                version=text("label", "Installed version"),
                footer=text("label", "Launcher and game version"),
                region=self.desktop.atspi.Text.get_text(region, 0, -1),
                region_open=has(region, state.EXPANDED),
                button=button.get_name(),
                button_enabled=has(button, state.SENSITIVE),
                log_button=has(found["push button", "View Log"], state.SHOWING),
                progress=progress.get_current_value() if has(progress, state.SHOWING) else None,
                busy=has(progress, state.BUSY))
        except (GLib.Error, KeyError, ValueError):
            return None  # not complete yet, or removed while it was read

    def wait_for(self, **wanted):
        """Waits until the window shows all of this. Returns its look then."""
        seen = None

        def shows():
            nonlocal seen
            seen = self.look() or seen
            return seen and all(getattr(seen, key) == value for key, value in wanted.items()) and seen

        return wait_until(shows, lambda: f"{wanted}; the window shows {seen}")

    def is_shown(self):
        """Whether the window is visible, on any window system."""
        states = self.frame().get_state_set()
        return states.contains(self.desktop.atspi.StateType.SHOWING)

    def activate(self, role, name):
        """Performs a control's default action, as assistive technology does."""
        self.desktop.atspi.Action.do_action(self.controls()[role, name], 0)

    def window(self):
        """The X window, or None when none is mapped."""
        while True:
            search = subprocess.run(
                ["xdotool", "search", "--all", "--onlyvisible", "--pid", str(self.process.pid),
                 "--name", "^Tarvex$"], capture_output=True, text=True, check=False)
            if "BadWindow" not in search.stderr:  # xdotool gives up when a window goes meanwhile
                found = search.stdout.split()
                return found[-1] if found else None

    def geometry(self):
        """Left, top, width and height of the X window's content, in device pixels."""
        found = run("xwininfo", "-id", wait_until(self.window, "a window"))
        return [int(re.search(rf"{what}:\s+(-?\d+)", found)[1])
                for what in ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")]

    def point_at(self, role, name):
        """Moves the pointer to the middle of a control."""
        # The accessibility tree uses device-independent pixels.
        extents = self.desktop.atspi.Component.get_extents
        screen = self.desktop.atspi.CoordType.SCREEN
        ratio = self.geometry()[2] / extents(self.frame(), screen).width
        place = extents(self.controls()[role, name], screen)
        run("xdotool", "mousemove", str(round((place.x + place.width / 2) * ratio)),
            str(round((place.y + place.height / 2) * ratio)))

    def click(self, role, name, button=1):
        """Clicks in the middle of a control with the pointer."""
        self.point_at(role, name)
        run("xdotool", "click", str(button))

    def press(self, *keys):
        wait_until(lambda: self.window() in run("xdotool", "getactivewindow").split(), "the focus")
        run("xdotool", "key", "--clearmodifiers", *keys)

    def take_picture(self, path):
        """Saves a picture of the window and everything above it."""
        left, top, width, height = self.geometry()
        subprocess.run(["import", "-window", "root", "-crop", f"{width}x{height}+{left}+{top}",
                        "+repage", path], check=True)


def run(*command):
    """Runs the command and returns its output."""
    return subprocess.run(command, capture_output=True, text=True, check=False).stdout
