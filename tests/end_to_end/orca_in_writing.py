"""Orca, the screen reader, with a speech server that writes: each utterance is a line on the standard
output. The argument is a folder for its settings, which are Orca's own but for those below."""

import os
import sys

from orca import orca, settings_manager, speechserver


class SpeechServer(speechserver.SpeechServer):
    """Orca looks for this name in the module that its settings name."""

    def __init__(self):
        super().__init__()
        # Orca and its libraries print at times, too.
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
    # Orca's program would refuse to run beside another Orca of the same user, on any display.
    settings_manager.getManager().activate(sys.argv[1], {
        "speechServerFactory": "__main__",
        "progressBarUpdateInterval": 0,  # every value that the bar tells, not one in ten seconds
        "enableKeyEcho": False,
        "enableBraille": False,
        "enableSound": False,
    })
    sys.exit(orca.main())
