// The record of one run of the updater: the facts from its lines so far. A value, for any one
// thread.
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
  std::optional<CheckOutcome> checkOutcome{};  // of the last report; absent when that was not valid
  std::optional<QString> lastErrorDetail{};    // may be empty; absent before the first error

  // Records the effect of a line. Call it in the order of the lines.
  void apply(const LineEffect &effect);
};

}  // namespace tarvex
