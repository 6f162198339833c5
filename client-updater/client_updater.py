#!/usr/bin/python3
"""Checks for, installs and starts the Tarvex client on behalf of the launcher.

    client_updater.py --config FILE --region ID
                      [--launcher-bundle FOLDER --launcher-version VERSION]
                      [--relaunched-from VERSION] [--no-self-update]
                      [--check | --update-only | --repair | -- GAME ARGUMENT...]

    --check        reports the available updates in one UPDATE_CHECK line; changes nothing
    --update-only  updates the launcher if it is out of date, otherwise the client
    --repair       the same, but reads all files of the client and replaces damaged ones
    none of them   the same as --update-only, then runs the game and returns its exit status

The launcher reads standard output and standard error as one stream of UTF-8 lines and acts on the lines
of its vocabulary. So the literal texts below are an interface, down to the character "…". A failure
prints one line "Tarvex launcher error: " with a sentence for the player, and has exit status 1.

The modules beside this file: release has the decisions; trust verifies signatures; fetch reads from the
server; download reads many files at once; store has files, folders and locks; install makes a release's
folder; client is the client of a region; update updates it; launcher replaces the launcher.
"""

from __future__ import annotations

import sys

sys.dont_write_bytecode = True  # it would be written into the launcher's bundle

import errno
import fcntl
import getopt
import os
import signal

import release
from client import Region
from fetch import one_line
from release import Fault, UpdateError
from store import read_record, support_folder

OPTIONS = ("config=", "region=", "launcher-bundle=", "launcher-version=", "relaunched-from=",
           "no-self-update", "check", "update-only", "repair")
MODES = ("--check", "--update-only", "--repair")


def say(line):
    try:
        print(line, flush=True)
    except BrokenPipeError:
        # The launcher has ended. At its own end, Python would write the line again, and fail.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        sys.exit(1)


# --- The modes -----------------------------------------------------------------------------------


def check(region, arguments):
    offer = region.read_offer()
    if offer is None:
        say("UPDATE_CHECK launcher=unknown client=current")
        return
    client = "current" if region.is_current(offer) else f"available:{offer.release['releaseId']}"
    world = offer.release.get("worldVersion", "unknown")
    say(f"UPDATE_CHECK launcher={launcher_part(region, offer, arguments)} client={client} world={world}")


def launcher_part(region, offer, arguments):
    bundle = arguments.get("--launcher-bundle")
    version = arguments.get("--launcher-version") if bundle else None
    # The bundle is moved to another folder, and for that, it must be writable, too.
    may_replace = (bundle and "--no-self-update" not in arguments and os.access(bundle, os.W_OK)
                   and os.access(os.path.dirname(bundle), os.W_OK))
    # The client's record also shows an outdated offer: the player may have installed the launcher by hand.
    records = read_record(os.path.join(support_folder(), "launcher.json")), region.installed()
    return release.launcher_part(offer, records, version, arguments.get("--relaunched-from"),
                                 may_replace)


def bring_up_to_date(region, arguments):
    """Returns True when the client is up to date, False when a new launcher was installed instead."""
    # These modules are loaded before the server is asked, because another launcher may replace the
    # bundle meanwhile. They are not loaded earlier, because a check must be fast and needs neither.
    import launcher
    import update

    offer = region.read_offer()
    if offer and launcher_part(region, offer, arguments).startswith("available:"):
        launcher.update(region.config, offer, arguments["--launcher-bundle"], say)
        return False
    update.update(region, offer, repair="--repair" in arguments)
    return True


def play(region, arguments, game_arguments):
    if not bring_up_to_date(region, arguments):
        return 0
    with region.locked(fcntl.LOCK_SH) as lock:
        command = region.command()
        if not command:
            raise UpdateError("The game is not installed completely.")
        # Before the game starts, because its output must not mix with this line.
        say("Starting Tarvex…")
        return run_to_its_end([*command, *game_arguments], lock)


def run_to_its_end(command, lock):
    """Runs a child. When this process gets a request to end, the child gets SIGTERM. The child inherits
    the lock, so that its files stay when this process is killed."""
    import subprocess

    child = None
    end_requested = False

    def pass_on(_signal_number, _frame):
        nonlocal end_requested
        end_requested = True
        if child:
            child.terminate()

    handle_end_requests(pass_on)
    child = subprocess.Popen(command, pass_fds=[lock])
    if end_requested:  # during Popen, when pass_on had no child yet
        child.terminate()
    status = child.wait()
    return status if status >= 0 else 128 - status


# --- The program ---------------------------------------------------------------------------------


def handle_end_requests(handler):
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP):
        signal.signal(number, handler)


def unwind(signal_number, _frame):
    """Ends this process by an exception, so that every "finally" is executed."""
    handle_end_requests(signal.SIG_IGN)
    sys.exit(128 + signal_number)


def parse_arguments(words):
    """The options with their values, and the game's arguments. argparse is not used: its import would take
    a fifth of the 50 ms that a check may take."""
    end = words.index("--") if "--" in words else len(words)
    try:
        options, others = getopt.getopt(words[:end], "", OPTIONS)
        arguments = dict(options)
        if others:
            raise getopt.GetoptError(f"{others[0]} is no option")
        if sum(mode in arguments for mode in MODES) > 1:
            raise getopt.GetoptError("there is more than one mode")
        if not {"--config", "--region"} <= arguments.keys():
            raise getopt.GetoptError("--config or --region is missing")
    except getopt.GetoptError as error:
        raise UpdateError(f"The updater was called wrongly: {error}.") from error
    return arguments, words[end + 1:]


def read_config(path, region_id):
    try:
        with open(path, "rb") as file:
            config = release.read_config(file.read(), region_id)
    except (OSError, Fault) as error:
        raise UpdateError("The launcher’s configuration is missing or damaged.") from error
    if "://" in config.releases:
        return config
    return config._replace(releases=os.path.join(os.path.dirname(path), config.releases))


def sentence_for(error):
    if isinstance(error, UpdateError):
        return str(error)
    if not isinstance(error, OSError):  # a bug in the updater also needs a sentence for the player
        return f"The updater failed unexpectedly ({type(error).__name__}: {error})."
    if error.errno in (errno.ENOSPC, errno.EDQUOT):
        return "There is not enough free space on the disk."
    files = error.filename or f"its files in {support_folder()}"
    if error.errno in (errno.EACCES, errno.EPERM, errno.EROFS):
        return f"Tarvex has no permission to use {files}."
    return f"Tarvex cannot use {files} ({error.strerror})."


def run(words):
    arguments, game_arguments = parse_arguments(words)
    config = read_config(arguments["--config"], arguments["--region"])
    region = Region(arguments["--region"], config, say)
    if "--check" in arguments:
        check(region, arguments)
    elif "--update-only" in arguments or "--repair" in arguments:
        bring_up_to_date(region, arguments)
    else:
        return play(region, arguments, game_arguments)
    return 0


def main():
    sys.stdout.reconfigure(encoding="utf-8", errors="replace")
    handle_end_requests(unwind)
    try:
        return run(sys.argv[1:])
    except Exception as error:
        if error.__cause__:
            say("Cause: " + one_line(error.__cause__))
        say("Tarvex launcher error: " + " ".join(sentence_for(error).split()))
        return 1


if __name__ == "__main__":
    sys.exit(main())
