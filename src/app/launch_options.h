// The launcher's own command line:
//
//   [--region ID] [--continue] [--relaunched-from VERSION] [--no-self-update] [-- GAME ARGUMENTS]
#pragma once

#include <QString>
#include <optional>
#include <string>
#include <vector>

namespace tarvex {

struct LaunchOptions {
  std::optional<QString> region;           // the one to begin with
  bool automaticContinue = false;          // go on into an update without a click
  std::optional<QString> relaunchedFrom;   // version of the launcher that started this one
  bool noSelfUpdate = false;               // for the updater
  std::vector<std::string> gameArguments;  // bytes as they came, whatever they encode

  // Takes the whole argument list with the program's path at its head. Never fails: what is not
  // understood is skipped, and a value that has not its form is dropped with its option.
  static LaunchOptions parse(const std::vector<std::string> &arguments);

  bool operator==(const LaunchOptions &) const = default;
};

}  // namespace tarvex
