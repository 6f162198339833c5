#!/usr/bin/python3
"""The updater of the measurements, controlled by launcher-config.json:

    client   the value of client in the check's report; default: current
    text     the line that an update prints, with its number from 0 to 100 in place of {}
    count    the number of these lines
    log      the launcher's log; the measured time ends when it contains the last line
    result   the file for the measured time, in seconds

A play run fails, so that the launcher stays open.
"""

import json
import os
import sys
import time

LAST_LINE = b"That was the last line.\n"


def has_arrived(log):
    with open(log, "rb") as file:
        file.seek(-min(len(LAST_LINE), os.path.getsize(log)), os.SEEK_END)
        return file.read() == LAST_LINE


def update(text, count, log, result):
    block = "".join(text.format(number % 101) for number in range(1000)).encode()
    start = time.monotonic()
    for _ in range(count // 1000):
        left = memoryview(block)
        while left:
            left = left[os.write(1, left):]
    os.write(1, LAST_LINE)
    while not has_arrived(log):
        time.sleep(0.001)
    elapsed = time.monotonic() - start
    with open(result, "w", encoding="ascii") as file:
        file.write(str(elapsed))


def main(arguments):
    with open(arguments[arguments.index("--config") + 1], encoding="utf-8") as file:
        config = json.load(file)
    if "--check" in arguments:
        print("UPDATE_CHECK launcher=current client=" + config.get("client", "current"))
    elif "--update-only" in arguments:
        update(config["text"], config["count"], config["log"], config["result"])
    else:
        sys.exit(1)


main(sys.argv[1:])
