#include "updater/run_completion.h"

namespace tarvex {
namespace {

Verdict failure(const RunRecord &run, const QString &otherwise) {
  return {Verdict::Kind::failed, run.lastErrorDetail.value_or(otherwise)};
}

Verdict failedUpdate(const RunRecord &run) {
  return failure(
      run, QStringLiteral("The update could not be completed. Your installed game was preserved."));
}

Verdict judgePlay(const RunRecord &run, bool succeeded) {
  // After the game's start, an earlier error line of the updater does not explain the end.
  if (run.sawGameStart) {
    return succeeded ? Verdict{Verdict::Kind::gameFinished}
                     : Verdict{Verdict::Kind::failed,
                               QStringLiteral("The game closed unexpectedly. You can try again.")};
  }
  if (succeeded) {
    return {Verdict::Kind::failed, QStringLiteral("The game closed before it finished starting.")};
  }
  return failedUpdate(run);
}

}  // namespace

Verdict judgeRun(const RunRecord &run, int status) {
  const bool succeeded = status == 0;
  // Checked before the mode: after a new launcher was installed, the old one must not go on.
  if (run.sawLauncherInstalled) {
    return succeeded ? Verdict{Verdict::Kind::relaunch}
                     : failure(run, QStringLiteral("The launcher update could not be completed."));
  }
  switch (run.mode) {
    case Mode::check:
      if (succeeded && run.checkOutcome) {
        return {Verdict::Kind::checked};
      }
      return {
          Verdict::Kind::checkFailed,
          run.lastErrorDetail.value_or(QStringLiteral("The update check could not be completed."))};
    case Mode::update:
      return succeeded ? Verdict{Verdict::Kind::checkAgain} : failedUpdate(run);
    case Mode::play:
      break;
  }
  return judgePlay(run, succeeded);
}

CheckResult checkResult(const CheckOutcome &outcome, std::optional<QStringView> regionName) {
  if (outcome.launcherVersion) {
    return {QStringLiteral("Launcher update available"), u"Launcher " + *outcome.launcherVersion,
            true};
  }
  if (outcome.clientRelease) {
    return {QStringLiteral("Update available"), u"Version " + *outcome.clientRelease, true};
  }
  return {u"Ready to play " + regionName.value_or(u"Tarvex").toString(),
          QStringLiteral("Your game is up to date."), false};
}

FollowUp followUp(const CheckOutcome &outcome, bool automaticUpdatePending, bool playAfterCheck) {
  const bool available = outcome.updateAvailable();
  // playAfterCheck stays set for the check after the update.
  if (automaticUpdatePending && available) {
    return {Mode::update, false, playAfterCheck};
  }
  return {playAfterCheck && !available ? std::optional(Mode::play) : std::nullopt, false, false};
}

}  // namespace tarvex
