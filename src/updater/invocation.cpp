#include "updater/invocation.h"

namespace tarvex {

std::vector<std::string> updaterArguments(const UpdaterInvocation &invocation) {
  std::vector<std::string> arguments{invocation.script, "--config", invocation.configuration,
                                     "--region", invocation.regionId.toStdString()};
  const auto add = [&](auto... words) { (arguments.emplace_back(words), ...); };
  if (invocation.launcher) {
    add("--launcher-bundle", invocation.launcher->bundle.string(), "--launcher-version",
        invocation.launcher->version.toStdString());
  }
  if (invocation.relaunchedFrom) {
    add("--relaunched-from", invocation.relaunchedFrom->toStdString());
  }
  if (invocation.noSelfUpdate) {
    add("--no-self-update");
  }
  switch (invocation.mode) {
    case Mode::check:
      add("--check");
      break;
    case Mode::update:
      add("--update-only");
      break;
    case Mode::play:
      if (!invocation.gameArguments.empty()) {
        add("--");
        arguments.insert(arguments.end(), invocation.gameArguments.begin(),
                         invocation.gameArguments.end());
      }
      break;
  }
  return arguments;
}

// Python would hold lines back in a buffer as long as its output is a pipe.
std::vector<std::string> updaterEnvironment(std::vector<std::string> environment) {
  constexpr const char *name = "PYTHONUNBUFFERED=";
  std::erase_if(environment, [&](const std::string &entry) { return entry.starts_with(name); });
  environment.push_back(std::string(name) + "1");
  return environment;
}

}  // namespace tarvex
