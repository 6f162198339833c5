"""Runs check-updater on small updaters that have one fault each."""

import json
import os
import subprocess
import tempfile
import unittest
from pathlib import Path

CATALOGUE = '{"schemaVersion": 3, "defaultRegion": "n", "regions": [{"id": "n", "name": "North"}]}'
PRELUDE = """
import json, os, signal, subprocess, sys, time
from pathlib import Path
support = Path(os.environ["HOME"], "Library/Application Support/Tarvex")
current = support / "client/regions/n/current.json"
def install(release):
    current.parent.mkdir(parents=True, exist_ok=True)
    current.write_text(json.dumps({"releaseId": release, "sourceRevision": "abc"}))
def leave(program):
    subprocess.Popen([sys.executable, "-c", program], start_new_session=True)
sys.stdout.reconfigure(encoding="utf-8")
mode = "check" if "--check" in sys.argv else "update" if "--update-only" in sys.argv else "play"
"""
OFFER = 'print("UPDATE_CHECK launcher=unpackaged client=available:r5")'
START = 'print("Starting Tarvex…", flush=True);'
LOCALE = 'sys.stdout.reconfigure(encoding=os.environ["PYTHONIOENCODING"].split(":")[0]);'
GOOD = {
    "check": f"if not current.exists(): {OFFER}\n"
             'else: print("UPDATE_CHECK launcher=unpackaged client=current")',
    "update": 'print("Updating to client r5…\\nDownloading client: 5%\\nDownloading client: 100%\\n'
              'Verifying and installing client…"); install("r5"); print("Installed client r5")',
    "play": f'print("Client r5 is current."); {START} print("Game:", sys.argv[5:])',
}
FAILED = "failure: Couldn’t start the game: "
NO_CHECK = "failure: Couldn’t check for updates: "
ENCODING = "begin with sys.stdout.reconfigure"

# The mode in which the good updater gets another body, that body, and a part of each line of output.
FAULTS = [
    ("check", "", "no valid report", NO_CHECK),
    ("check", "print('UPDATE_CHECK launcher=current client=unknown')", "“client=unknown” is not",
     "no valid report", NO_CHECK),
    ("check", OFFER + "; print('UPDATE_CHECK launcher=Current client=current')",
     "“launcher=Current” is not", "no valid report", NO_CHECK),
    ("check", OFFER + "; sys.exit(3)", "the status 3 is a failure that nothing", "does not count",
     NO_CHECK),
    ("check", "print('Tarvex launcher error: Disk full')", "no valid report", "the status 0 is",
     NO_CHECK + "Disk full"),
    ("check", "print('Tarvex launcher error:'); sys.exit(1)", "add a sentence", NO_CHECK),
    ("check", "0/0", "The last line is “ZeroDivisionError: division by zero”", NO_CHECK),
    ("check", "os.kill(os.getpid(), signal.SIGSEGV)", "killed by SIGSEGV", NO_CHECK),
    ("check", "sys.exit(signal.SIGSEGV)", "the status 11 is a failure", NO_CHECK),
    ("check", "signal.pause()", "for 1 s, and the launcher sets no limit", "failure: the window"),
    ("check", "os.kill(os.getpid(), signal.SIGSTOP)", "by SIGSTOP or by", "failure: the window"),
    ("check", GOOD["check"] + "\nleave('import os, time; time.sleep(.2); print(5)')",
     *["wait for the process that prints “5”"] * 2),
    ("check", GOOD["check"] + "\nleave('import signal; signal.pause()')",
     *["is only logged: wait for python3"] * 2),
    ("check", OFFER, "the same update is offered again"),
    ("update", "install('r5')", "nothing says what is installed"),
    ("update", "print('Installed client r5'); time.sleep(1); install('r5')",
     "current.json: No such file or directory: write it before"),
    ("update", "install('r4'); print('Installed client r5')", *["says that “r4” is installed"] * 2),
    ("update", GOOD["update"].replace('("r5")', '("r5"); print("[info] Downloading client: 7%")'),
     "other text stands before it"),
    ("update", GOOD["update"].replace("5%", "7.5%"), "run together to 75"),
    ("update", GOOD["update"].replace("100%", "4%"), "goes back, from 5: print"),
    ("update", GOOD["update"].replace("100%", "101%"), "more than 100"),
    ("update", GOOD["update"].replace("100%", "½"), "makes the percentage 0"),
    ("update", GOOD["update"].replace("100%", ""), "no number"),
    ("update", GOOD["update"].replace("100%", "6%\\r7%"), "run together", "a carriage return does"),
    ("update", GOOD["update"].replace("r5…", "r5..."), "three full stops stay"),
    ("update", GOOD["update"].replace("r5…", "r5…\\x1b[0m"), "print no colours"),
    ("update", GOOD["update"] + "; print('Starting Tarvex…')", "an update run starts no game"),
    ("update", "time.sleep(1.2);" + GOOD["update"].replace("5%", "1%\\nDownloading client: 2%"),
     "come together after a silence"),
    ("update", GOOD["update"] + "; sys.exit(1)", "the status 1 is a failure", FAILED),
    ("update", "print('Installed launcher x. Restarting…')", "no --launcher-bundle was passed",
     FAILED + "The updated launcher"),
    ("play", "", "start of the game was not told", FAILED + "The game closed before"),
    ("play", "print('Starting Tarvex...')", "U+2026", "start of the game was not", FAILED),
    ("play", "print('\\x1b[1mStarting Tarvex…')", "other text stands before", "was not", FAILED),
    ("play", "print('Client r5 is current');" + START, "not recognised, but resembles “Client *"),
    ("play", LOCALE + START, "punctuation or letters differ", ENCODING, "was not told", FAILED),
    ("play", START + "sys.exit(3)", "is a crash. The last line is “Starting Tarvex…”",
     FAILED + "The game closed unexpectedly"),
    ("play", START + "os.kill(os.getpid(), 9)", "killed by SIGKILL", FAILED),
    ("play", START + "os.kill(os.getpid(), signal.SIGSTOP)", "by SIGSTOP or by",
     "failure: the window"),
    ("play", START + "leave('import signal, os; os.close(1); os.close(2); signal.pause()')",
     "wait for the game"),
    ("play", START + "print('a\\n' * 1001)", "the game has printed 1001 lines"),
]


class CheckUpdaterTest(unittest.TestCase):
    def setUp(self):
        self.folder = Path(self.enterContext(tempfile.TemporaryDirectory()))
        (self.folder / "launcher-config.json").write_text(CATALOGUE)

    def write_updater(self, steps):
        (self.folder / "client_updater.py").write_text(PRELUDE + "".join(
            f"if mode == {mode!r}:\n " + body.replace("\n", "\n ") + "\n"
            for mode, body in steps.items() if body))

    def check(self, *options):
        command = [os.environ["TARVEX_CHECK_UPDATER"], *options]
        run = subprocess.run(command, capture_output=True, timeout=60)
        return run.returncode, run.stdout.decode().splitlines()

    def test_good_updater_has_no_findings(self):
        self.write_updater(GOOD)
        status, lines = self.check("--play", "--strict", self.folder, "--", "-windowed")
        self.assertEqual(status, 0, lines)
        self.assertIn("  | Game: ['--', '-windowed']  ->  log only: the first line after the game’s "
                      "start", lines)
        self.assertIn("  => status “Ready to play North”, version line "
                      "“Installed r5  •  source abc”, button Play", lines)
        self.assertIn("  => the game has ended, and so does the launcher", lines)
        self.assertEqual(self.check("--play", "--quiet", self.folder, "--", "x"), (0, []))

    def test_each_fault_has_its_findings_and_no_others(self):
        for mode, body, *expected in FAULTS:
            with self.subTest(f"{mode}: {body}"):
                self.write_updater({**GOOD, mode: body})
                limit = "1" if "for 1 s" in expected[0] or "SIGSTOP" in expected[0] else "60"
                status, lines = self.check("--play", "--quiet", "--timeout", limit, self.folder,
                                           "--", "x")
                missing = [one for one in zip(expected, lines) if one[0] not in one[1]]
                self.assertEqual((missing, len(lines)), ([], len(expected)), lines)
                self.assertEqual(status, int("failure: " in lines[-1]))
                self.assertTrue(lines[0].startswith(mode), lines)

    def test_broken_resources_are_explained(self):
        self.assertIn("start: warning: ", self.check("--quiet", self.folder / "none")[1][0])
        status, lines = self.check("--quiet", self.folder)
        self.assertEqual((status, len(lines)), (1, 2))
        self.assertTrue(lines[0].endswith("client_updater.py: No such file or directory"), lines)
        (self.folder / "launcher-config.json").write_text(CATALOGUE.replace("3", "4"))
        status, lines = self.check("--quiet", self.folder)
        self.assertTrue(lines[0].endswith("“schemaVersion” is missing, or not 2 or 3"), lines)

    def test_json_output_has_one_object_on_each_line(self):
        self.write_updater({**GOOD, "check": OFFER + "; print('Tarvex launcher error: \"')"})
        status, lines = self.check("--json", "--strict", self.folder)
        self.assertEqual(status, 1)  # because of the warning
        entries = [json.loads(line) for line in lines]
        self.assertEqual([one["entry"] for one in entries],
                         ["region", "run", "line", "line", "end", "warning", "result", "note",
                          "summary"])
        self.assertEqual(entries[3]["text"], 'Tarvex launcher error: "')
        self.assertEqual(entries[-1], {"entry": "summary", "failures": "0", "warnings": "1"})

    def test_command_lines(self):
        for options, expected in ((["--help"], 0), (["--help", "--json"], 0), ([], 2),
                                  (["--nonsense", self.folder], 2), ([self.folder, "--", "a"], 2),
                                  (["--timeout", "0", self.folder], 2),
                                  (["--launcher-bundle", "x", self.folder], 2)):
            with self.subTest(options):
                self.assertEqual(self.check(*options)[0], expected)
