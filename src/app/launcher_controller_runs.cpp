#include <QTimer>
#include <chrono>
#include <iterator>
#include <memory>

#include "app/launcher_controller.h"
#include "install/locations.h"
#include "platform/bundle_opener.h"
#include "platform/durable_file.h"
#include "updater/failures.h"
#include "updater/invocation.h"
#include "updater/progress_lines.h"
#include "updater/relaunch.h"
#include "updater/run_completion.h"

namespace tarvex {
namespace {

// The log's entry at the start of a run, in the order of the modes. In a play run, the updater
// first looks for missing parts.
constexpr std::string_view startLines[] = {
    "Checking for updates.\n",
    "Starting update.\n",
    "Starting update check.\n",
};
static_assert(std::size(startLines) == modeCount);

}  // namespace

void LauncherController::startUpdater(Mode requested) {
  const Region *const region = selectedRegion();
  if (process != nullptr || region == nullptr) {
    return;
  }
  const auto folder = bundle.resourceFolder();
  if (!folder) {
    explain(bundle.resources, QStringLiteral("no such folder"));
    showFailure(failures::noResources);
    return;
  }
  UpdaterInvocation invocation{.script = *folder / updaterScript,
                               .configuration = *folder / updaterConfiguration,
                               .regionId = region->id,
                               .launcher = std::nullopt,
                               .relaunchedFrom = options.relaunchedFrom,
                               .noSelfUpdate = options.noSelfUpdate,
                               .mode = requested,
                               .gameArguments = options.gameArguments};
  for (const std::filesystem::path &file : {invocation.script, invocation.configuration}) {
    if (const std::error_code error = whyUnreadable(file)) {
      explain(file, QString::fromStdString(error.message()));
      showFailure(failures::incomplete);
      return;
    }
  }
  // Without both, the updater must leave the launcher alone.
  const auto ownBundle = launcherBundleURL();
  const auto ownVersion = launcherVersion();
  if (ownBundle && ownVersion) {
    invocation.launcher = {*ownBundle, *ownVersion};
  }

  run = {.mode = requested};
  outputBuffer.clear();
  showWorking(*region);

  process = launchUpdater(
      {updaterInterpreter, updaterArguments(invocation), updaterEnvironment(environment)});
  if (process == nullptr) {
    showFailure(failures::noUpdater);
    return;
  }
  // Only now: the log must not name a run that could not be started.
  appendLog(startLines[static_cast<std::size_t>(run.mode)]);
}

void LauncherController::showWorking(const Region &region) {
  regionPicker.setEnabled(false);
  logButton.hide();
  setButton(workingState(run.mode));
  statusLabel.setText(QStringLiteral("Checking for updates…"));
  versionLabel.setText(u"Connecting securely to " + region.name);
  versionLabel.setToolTip({});
  progress.show();
  progress.setIndeterminate(true);
  progress.setAnimating(true);
}

ChildProcess *LauncherController::launchUpdater(const Program &program) {
  // A process that the updater left behind may write to the pipe after the end of the run. Its
  // lines go to the log, but they have no effect on a later run.
  // The assembler is shared by two handlers, and the next run has its own.
  const auto late = std::make_shared<LineAssembler>();
  const auto log = [this](const OutputLine &line) { appendLog(line.entry); };
  std::error_code error;
  ChildProcess *const child = ChildProcess::start(
      program,
      {.output = [this](std::string_view bytes) { consume(bytes); },
       .exited = [this](int status) { processFinished(status); },
       .lateOutput = [late, log](std::string_view bytes) { late->append(bytes, log); },
       .outputEnded = [late, log] { late->flush(log); }},
      this, error);
  if (child == nullptr) {
    explain(program.executable, QString::fromStdString(error.message()));
  }
  return child;
}

void LauncherController::consume(std::string_view data) {
  outputBuffer.append(data, [this](const OutputLine &line) { handleLine(line); });
}

void LauncherController::handleLine(const OutputLine &line) {
  appendLog(line.entry);  // first: when a line's effect crashes the launcher, the log has the line
  handleOutputLine(line.text());
}

void LauncherController::handleOutputLine(std::string_view line) {
  const std::optional<LineEffect> effect = interpretLine(line, run.mode, selectedRegionName());
  if (!effect) {
    return;
  }
  applyBar(*effect);
  if (effect->status) {
    statusLabel.setText(*effect->status);
  }
  if (effect->versionLine) {
    versionLabel.setText(*effect->versionLine);
  }
  if (effect->event == LineEffect::Event::clientInstalled) {
    showInstalledVersion(QStringLiteral("Version"));
    showFooter();
  }
  if (effect->event == LineEffect::Event::gameStarted && !run.sawGameStart) {
    gameDidStart();
  }
  run.apply(*effect);  // last: a repeated start of the game must be recognised above
}

void LauncherController::applyBar(const LineEffect &effect) {
  switch (effect.bar) {
    case LineEffect::Bar::unchanged:
      break;
    case LineEffect::Bar::percentage:
      progress.setIndeterminate(false);
      progress.setAnimating(false);
      progress.setValue(effect.percentage);
      break;
    case LineEffect::Bar::busy:
      progress.setIndeterminate(true);
      progress.setAnimating(true);
      break;
    case LineEffect::Bar::full:
      progress.setAnimating(false);
      progress.setValue(ProgressIndicator::maximum);
      break;
  }
}

void LauncherController::gameDidStart() {
  // The player sees "Launching …" for a moment before the window hides.
  constexpr std::chrono::milliseconds untilHidden{250};
  failureBeforeHiding.reset();
  QTimer::singleShot(untilHidden, this, [this] {
    window->orderOut();
    if (failureBeforeHiding) {  // it was only shown in the window, which is hidden now
      requestAttention(*failureBeforeHiding);
    }
  });
}

void LauncherController::processFinished(int status) {
  // The last line may lack its line feed. It counts for the verdict.
  outputBuffer.flush([this](const OutputLine &line) { handleLine(line); });
  process = nullptr;  // before the verdict, which may start the next run
  const Verdict verdict = judgeRun(run, status);
  switch (verdict.kind) {
    case Verdict::Kind::relaunch:
      relaunch([this](bool started) {
        if (started) {
          application.terminate();
        } else {
          run.sawLauncherInstalled = false;
          showFailure(failures::noRelaunch);
        }
      });
      break;
    case Verdict::Kind::failed:
      run.sawLauncherInstalled = false;
      run.sawGameStart = false;
      showFailure(verdict.message);
      break;
    case Verdict::Kind::checked:
      showCheckResult(*run.checkOutcome);
      break;
    case Verdict::Kind::checkFailed:
      showFailureAs(failures::checkFailed, verdict.message);
      break;
    case Verdict::Kind::checkAgain:
      startUpdater(Mode::check);
      break;
    case Verdict::Kind::gameFinished:
      application.terminate();
      break;
  }
}

void LauncherController::showCheckResult(const CheckOutcome &outcome) {
  hideProgress();
  regionPicker.setEnabled(true);
  logButton.hide();
  versionLabel.setToolTip({});
  showFooter();
  const CheckResult result = checkResult(outcome, selectedRegionName());
  statusLabel.setText(result.status);
  versionLabel.setText(result.versionLine);
  if (!result.offersUpdate) {
    showInstalledVersion(QStringLiteral("Installed"));
  }
  setButton(result.offersUpdate ? ButtonState::update : ButtonState::play);

  const FollowUp next = followUp(outcome, automaticUpdatePending, playAfterCheck);
  automaticUpdatePending = next.automaticUpdatePending;
  playAfterCheck = next.playAfterCheck;
  if (next.run) {
    startUpdater(*next.run);
  }
}

void LauncherController::relaunch(const std::function<void(bool started)> &completion) {
  const auto ownBundle = launcherBundleURL();
  if (!ownBundle) {
    completion(false);
    return;
  }
  const std::error_code notRun =
      openBundle(relaunchArguments({*ownBundle, selectedRegionId(), launcherVersion(),
                                    options.noSelfUpdate, options.gameArguments}),
                 environment, this, [this, completion](int status) {
                   appendLog(relaunchLogEntry(status));
                   completion(status == 0);
                 });
  if (notRun) {
    appendLog(relaunchFailureLogEntry(notRun));
    completion(false);
  }
}

}  // namespace tarvex
