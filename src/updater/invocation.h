// The command line and the environment of the updater. docs/updater-protocol.md describes them for
// authors of updaters. Plain functions over values, for any thread.
#pragma once

#include <QString>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "updater/mode.h"

namespace tarvex {

inline constexpr char updaterInterpreter[] = "/usr/bin/python3";

// The launcher that the updater may replace.
struct LauncherIdentity {
  std::filesystem::path bundle;
  QString version;
};

struct UpdaterInvocation {
  std::filesystem::path script;
  std::filesystem::path configuration;
  QString regionId;
  std::optional<LauncherIdentity> launcher;  // absent: the launcher cannot be updated
  std::optional<QString> relaunchedFrom;     // version of the launcher that started this one
  bool noSelfUpdate = false;                 // the updater must leave the launcher alone
  Mode mode = Mode::check;
  std::vector<std::string> gameArguments;  // used in the mode play only
};

// The arguments of the interpreter, without argument 0.
std::vector<std::string> updaterArguments(const UpdaterInvocation &invocation);

// The environment with Python's output buffering turned off. Entries of the form NAME=value.
std::vector<std::string> updaterEnvironment(std::vector<std::string> environment);

}  // namespace tarvex
