// The launcher's own command line:
//
//   [--region ID] [--continue] [--relaunched-from VERSION] [--no-self-update] [-- GAME ARGUMENTS]
//
// A value, for any thread.
#pragma once

#include <QString>
#include <optional>
#include <string>
#include <vector>

namespace tarvex {

struct LaunchOptions {
  std::optional<QString> region;           // the id of the region to begin with
  bool automaticContinue = false;          // install an update without a click
  std::optional<QString> relaunchedFrom;   // version of the launcher that started this one
  bool noSelfUpdate = false;               // the updater must leave the launcher alone
  std::vector<std::string> gameArguments;  // the bytes unchanged; they need not be UTF-8

  // Parses the whole argument list, whose first element is the program's path. Never fails: unknown
  // arguments are skipped, and an option with an ill-formed value (text/identifiers.h) is dropped.
  static LaunchOptions parse(const std::vector<std::string> &arguments);

  bool operator==(const LaunchOptions &) const = default;
};

}  // namespace tarvex
