#include "updater/relaunch.h"

namespace tarvex {

std::vector<std::string> relaunchArguments(const Relaunch &relaunch) {
  std::vector<std::string> arguments{"-n", relaunch.bundle, "--args"};
  const auto add = [&](auto... words) { (arguments.emplace_back(words), ...); };
  if (relaunch.regionId) {
    add("--region", relaunch.regionId->toStdString());
  }
  add("--continue");  // the client's update goes on without a click
  if (relaunch.launcherVersion) {
    add("--relaunched-from", relaunch.launcherVersion->toStdString());
  }
  if (relaunch.noSelfUpdate) {
    add("--no-self-update");
  }
  if (!relaunch.gameArguments.empty()) {
    add("--");
    arguments.insert(arguments.end(), relaunch.gameArguments.begin(), relaunch.gameArguments.end());
  }
  return arguments;
}

std::string relaunchLogEntry(int status) {
  if (status == 0) {
    return "Started the updated launcher.\n";
  }
  return "The updated launcher would not start (open exited " + std::to_string(status) + ").\n";
}

std::string relaunchFailureLogEntry(const std::error_code &error) {
  return "The updated launcher could not be started: " + error.message() + "\n";
}

}  // namespace tarvex
