// The judgement on a run of the updater that has ended, and what follows from it.
#pragma once

#include <QString>
#include <QStringView>
#include <optional>

#include "updater/check_report.h"
#include "updater/mode.h"
#include "updater/run_record.h"

namespace tarvex {

struct Verdict {
  enum class Kind {
    relaunch,      // hand over to the launcher that was installed
    failed,        // show the failure
    checked,       // show what the check found
    checkFailed,   // show that the check failed
    checkAgain,    // the update succeeded; see what there is to do now
    gameFinished,  // end the application
  };
  Kind kind;
  QString message{};  // of the two failures
};

// The status is the exit code, or the number of the fatal signal; only 0 is a success.
Verdict judgeRun(const RunRecord &run, int status);

// What a check that succeeded shows, and whether the primary button then offers Update or Play.
struct CheckResult {
  QString status;
  QString versionLine;
  bool offersUpdate = false;
};

CheckResult checkResult(const CheckOutcome &outcome, std::optional<QStringView> regionName);

// What a check that succeeded leads to without a click.
struct FollowUp {
  std::optional<Mode> run;
  // The one-shot wishes as they are from now on.
  bool automaticUpdatePending = false;
  bool playAfterCheck = false;
};

FollowUp followUp(const CheckOutcome &outcome, bool automaticUpdatePending, bool playAfterCheck);

}  // namespace tarvex
