// The state that the process inherited: signals, descriptors, environment, home. POSIX. Call these
// functions at the start of main, on the main thread, before Qt and before any other thread.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tarvex {

// Sets the dispositions of SIGCHLD, SIGPIPE and SIGXFSZ in place of the inherited ones. An ignored
// SIGCHLD would lose the exit status of children. A write to a closed pipe or beyond the size limit
// must be an error instead of a fatal signal. Call this first: even a warning on standard error may
// go to a closed pipe.
void settleSignals();

// Opens /dev/null for each standard descriptor that is closed. Otherwise the log or a pipe would
// get its number, and children would write to it.
void openMissingStandardDescriptors();

// The environment of this process: entries of the form NAME=value.
std::vector<std::string> ownEnvironment();

// With these tokens, the window system lets a new window take the keyboard. Both are empty when the
// launcher was started from a terminal, for instance.
struct StartupTokens {
  std::string startupId;        // Startup Notification Protocol, on X11: DESKTOP_STARTUP_ID
  std::string activationToken;  // xdg-activation, on Wayland: XDG_ACTIVATION_TOKEN
};

// The tokens in the environment. Read them before Qt, which removes them.
StartupTokens ownStartupTokens();

// $HOME as an absolute path; when it is unset or empty, the home of this user in the password
// database, or "/" without an entry.
std::filesystem::path homeFolder();

}  // namespace tarvex
