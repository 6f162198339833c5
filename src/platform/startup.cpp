#include "platform/startup.h"

#include <fcntl.h>
#include <pwd.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <system_error>

namespace tarvex {

void settleSignals() {
  std::signal(SIGCHLD, SIG_DFL);
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
}

// open and dup return the lowest free number, so closed standard descriptors are filled first.
void openMissingStandardDescriptors() {
  for (int fd = ::open("/dev/null", O_RDWR); fd >= 0; fd = ::dup(fd)) {
    if (fd > STDERR_FILENO) {
      ::close(fd);
      return;
    }
  }
}

std::vector<std::string> ownEnvironment() {
  std::vector<std::string> entries;
  for (char **entry = environ; *entry != nullptr; ++entry) {
    entries.emplace_back(*entry);
  }
  return entries;
}

StartupTokens ownStartupTokens() {
  const auto entry = [](const char *name) {
    const char *const value = std::getenv(name);
    return std::string(value != nullptr ? value : "");
  };
  return {entry("DESKTOP_STARTUP_ID"), entry("XDG_ACTIVATION_TOKEN")};
}

std::filesystem::path homeFolder() {
  const char *home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') {
    std::error_code error;
    return std::filesystem::absolute(home, error);
  }
  const passwd *entry = ::getpwuid(::getuid());
  return entry != nullptr ? entry->pw_dir : "/";
}

}  // namespace tarvex
