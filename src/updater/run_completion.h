// The verdict on a finished run of the updater, and its consequences. Plain functions over values,
// for any thread.
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
    relaunch,      // start the launcher that was installed, and end
    failed,        // show the failure
    checked,       // show the result of the check
    checkFailed,   // show that the check failed
    checkAgain,    // the update succeeded: check what can be installed now
    gameFinished,  // end the application
  };
  Kind kind;
  QString message{};  // for failed and checkFailed
};

// `status` is the exit code or the number of the fatal signal. Only 0 is a success.
Verdict judgeRun(const RunRecord &run, int status);

// The texts after a successful check, and whether the primary button offers Update or Play.
struct CheckResult {
  QString status;
  QString versionLine;
  bool offersUpdate = false;
};

CheckResult checkResult(const CheckOutcome &outcome, std::optional<QStringView> regionName);

// The consequence of a successful check that needs no click.
struct FollowUp {
  std::optional<Mode> run;  // to start now
  // The new values of the arguments.
  bool automaticUpdatePending = false;
  bool playAfterCheck = false;
};

// automaticUpdatePending: update as soon as a check finds something. playAfterCheck: start the game
// as soon as a check finds nothing.
FollowUp followUp(const CheckOutcome &outcome, bool automaticUpdatePending, bool playAfterCheck);

}  // namespace tarvex
