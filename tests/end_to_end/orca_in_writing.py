"""Runs the screen reader Orca with a speech server that prints each utterance as a line on standard
output. The argument is a folder for its settings, which are Orca's defaults except those below."""

import os
import sys

from orca import orca, settings_manager, speechserver


class SpeechServer(speechserver.SpeechServer):
    """Orca loads the class of this name from the module in its settings."""

    def __init__(self):
        super().__init__()
        # Other output of Orca and its libraries goes to standard error.
        self._speech = os.fdopen(os.dup(1), "w", encoding="utf-8", buffering=1)
        os.dup2(2, 1)

    @staticmethod
    def getSpeechServer(info=None):
        return server

    def speak(self, text=None, acss=None, interrupt=True):
        self._speech.write(" ".join(text.split()) + "\n")

    def speakCharacter(self, character, acss=None):
        self.speak(character)


if __name__ == "__main__":
    server = SpeechServer()
    # Orca's own program refuses to run beside another Orca of the same user, on any display.
    settings_manager.getManager().activate(sys.argv[1], {
        "speechServerFactory": "__main__",
        "progressBarUpdateInterval": 0,  # say every reported value, not one in ten seconds
        "enableKeyEcho": False,
        "enableBraille": False,
        "enableSound": False,
    })
    sys.exit(orca.main())
