// The start of an updated launcher by the one that it replaced.
#pragma once

#include <QString>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

namespace tarvex {

struct Relaunch {
  std::filesystem::path bundle;
  std::optional<QString> regionId;
  std::optional<QString> launcherVersion;  // our own
  bool noSelfUpdate = false;
  std::vector<std::string> gameArguments;
};

// The arguments of the tool that opens bundles: what stands after "--args" is a command line of the
// launcher, with which the new instance goes on where this one stopped.
std::vector<std::string> relaunchArguments(const Relaunch &relaunch);

// The log's entry on how the tool ended, and on why it could not be run at all.
std::string relaunchLogEntry(int status);
std::string relaunchFailureLogEntry(const std::error_code &error);

}  // namespace tarvex
