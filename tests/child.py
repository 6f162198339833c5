"""Plays every child that the tests need. It performs a list of steps [name, argument...] in order. The
list is JSON: in the argument after "--steps", or in the file plan.json beside this script, which has a
list for each mode of an updater. With a plan, each run also appends a line of JSON to calls.jsonl: its
mode, arguments, environment and process id."""

import json
import os
import signal
import sys
import time
from pathlib import Path

HERE = Path(__file__).resolve().parent


def wait_for(path):
    while not (HERE / path).exists() and HERE.exists():  # a test removes its folder at its end
        time.sleep(0.01)


def leave_daemon(path, text):
    """Starts a grandchild that keeps the pipe open and writes the text when the file exists."""
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
    """Cleans up at SIGTERM. A second SIGTERM would interrupt the clean-up."""
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
    """The open descriptors, without the one that listing them needs."""
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
