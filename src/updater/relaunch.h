// The start of an updated launcher by the launcher that it replaced. Plain functions over values,
// for any thread; platform/bundle_opener.h does the work.
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
  std::optional<QString> launcherVersion;  // of the launcher that is replaced
  bool noSelfUpdate = false;
  std::vector<std::string> gameArguments;
};

// The argument list for openBundle. The part after "--args" is a command line of the launcher
// (app/launch_options.h): the new launcher continues where the old one stopped.
std::vector<std::string> relaunchArguments(const Relaunch &relaunch);

// The log's entry about the exit status of openBundle, and about its error.
std::string relaunchLogEntry(int status);
std::string relaunchFailureLogEntry(const std::error_code &error);

}  // namespace tarvex
