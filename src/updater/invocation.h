// What the updater is started with.
#pragma once

#include <QString>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "updater/mode.h"

namespace tarvex {

inline constexpr char updaterInterpreter[] = "/usr/bin/python3";

struct LauncherIdentity {
  std::filesystem::path bundle;
  QString version;
};

struct UpdaterInvocation {
  std::filesystem::path script;
  std::filesystem::path configuration;
  QString regionId;
  std::optional<LauncherIdentity> launcher;
  std::optional<QString> relaunchedFrom;
  bool noSelfUpdate = false;
  Mode mode = Mode::check;
  std::vector<std::string> gameArguments;  // for the mode play
};

// The arguments of the interpreter, after its own name.
std::vector<std::string> updaterArguments(const UpdaterInvocation &invocation);

// The environment with Python's output buffering switched off, as NAME=value entries.
std::vector<std::string> updaterEnvironment(std::vector<std::string> environment);

}  // namespace tarvex
