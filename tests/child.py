"""Plays every child that the tests need. What it does is a list of steps, one after the other, each
[name, argument...]. They come as JSON in the argument after "--steps", or from the file plan.json
beside this script, by the mode that an updater's arguments ask for. With a plan, each run is also
recorded, as a line of JSON in calls.jsonl: its arguments, the environment and its descriptors."""

import json
import os
import signal
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent


def wait_for(path):
    while not (HERE / path).exists() and HERE.exists():  # a test that is over takes its folder away
        time.sleep(0.01)


def leave_daemon(path, text):
    """A grandchild that keeps the pipe, and writes the text when the file is there."""
    if os.fork() == 0:
        os.setsid()
        wait_for(path)
        os.write(1, text.encode())
        os._exit(0)


def flood(lines):
    block = b"".join(b"line %06d of a flood that goes on and on and on and on and on\n" % number
                     for number in range(lines))
    while block:
        block = block[os.write(1, block):]


def clean_up(cleaning, go_on, clean):
    """Ends when it is asked to, as an ordinary program does; a second request would interrupt that."""
    signal.signal(signal.SIGTERM, lambda *_: sys.exit())
    try:
        os.write(1, b"ready")
        wait_for("never")
    finally:
        (HERE / cleaning).touch()
        wait_for(go_on)
        (HERE / clean).touch()


def close_output():
    os.close(1)
    os.close(2)


STEPS = {
    "print": lambda text: os.write(1, text.encode()),
    "complain": lambda text: os.write(2, text.encode()),
    "bytes": lambda digits: os.write(1, bytes.fromhex(digits)),
    "flood": flood,
    "wait for": wait_for,
    "touch": lambda path: (HERE / path).touch(),
    "descriptors": lambda: os.write(1, " ".join(descriptors()).encode()),
    "ignore terminate": lambda: signal.signal(signal.SIGTERM, signal.SIG_IGN),
    "clean up": clean_up,
    "pid": lambda: os.write(1, b"%d." % os.getpid()),
    "close output": close_output,
    "daemon": leave_daemon,
    "kill": lambda number: os.kill(os.getpid(), number),
    "exit": lambda status: os._exit(status),
}


def descriptors():
    """The open descriptors; the listing's own is gone by the time one asks for it."""
    numbers = os.listdir("/proc/self/fd")
    return [number for number in sorted(numbers, key=int) if os.path.exists(f"/proc/self/fd/{number}")]


def main(arguments):
    if arguments[0] == "--steps":
        steps = json.loads(arguments[1])
    else:
        own = arguments[:arguments.index("--")] if "--" in arguments else arguments
        mode = "check" if "--check" in own else "update" if "--update-only" in own else "play"
        with open(HERE / "calls.jsonl", "a", encoding="utf-8") as calls:
            record = {"mode": mode, "arguments": arguments, "environment": dict(os.environ),
                      "pid": os.getpid()}
            calls.write(json.dumps(record) + "\n")
        steps = json.loads((HERE / "plan.json").read_text(encoding="utf-8"))[mode]
    for name, *argument in steps:
        STEPS[name](*argument)


main(sys.argv[1:])
