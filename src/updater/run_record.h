// The record of one run of the updater: what its lines have told so far.
#pragma once

#include <QString>
#include <optional>

#include "updater/check_report.h"
#include "updater/mode.h"
#include "updater/progress_lines.h"

namespace tarvex {

struct RunRecord {
  Mode mode = Mode::check;
  bool sawLauncherInstalled = false;
  bool sawGameStart = false;
  std::optional<CheckOutcome> checkOutcome{};  // of the last report, absent when that was not valid
  std::optional<QString> lastErrorDetail{};    // may be empty

  // Keeps what a line has told. The effects must come in the order of the lines.
  void apply(const LineEffect &effect);
};

}  // namespace tarvex
