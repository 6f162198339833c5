// The process as it was started: once, at the very start, on the main thread. POSIX.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tarvex {

// Sets SIGCHLD, SIGPIPE and SIGXFSZ, whatever the process inherited. While SIGCHLD is ignored, the
// exit status of children is lost; a write that fails must be an error, not a reason to die. Call
// this first: a warning of Qt may already meet a closed pipe on standard error.
void settleSignals();

// Opens /dev/null for each standard descriptor that is closed. Otherwise the log or a pipe would
// get its number, and children would inherit it.
void openMissingStandardDescriptors();

// Our environment as it is now: entries of the form NAME=value.
std::vector<std::string> ownEnvironment();

// The proof, for the window system, that the player has just asked for a window. Both empty when
// the launcher was not started from a desktop's menu or the like.
struct StartupTokens {
  std::string startupId;        // Startup Notification Protocol, on X11: DESKTOP_STARTUP_ID
  std::string activationToken;  // xdg-activation, on Wayland: XDG_ACTIVATION_TOKEN
};

// Those in our environment. Qt takes them out of it.
StartupTokens ownStartupTokens();

// $HOME as an absolute path, or the password database's entry for this user where that is unset or
// empty.
std::filesystem::path homeFolder();

}  // namespace tarvex
