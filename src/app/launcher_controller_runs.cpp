#include <QTimer>
#include <chrono>
#include <memory>

#include "app/launcher_controller.h"
#include "install/locations.h"
#include "platform/bundle_opener.h"
#include "updater/invocation.h"
#include "updater/progress_lines.h"
#include "updater/relaunch.h"
#include "updater/run_completion.h"

namespace tarvex {
namespace {

std::string startLine(Mode mode) {
  switch (mode) {
    case Mode::check:
      return "Checking for updates.\n";
    case Mode::update:
      return "Starting update.\n";
    case Mode::play:
      return "Starting update check.\n";
  }
  return {};
}

}  // namespace

void LauncherController::startUpdater(Mode requested) {
  const Region *const region = selectedRegion();
  if (process != nullptr || region == nullptr) {
    return;
  }
  const auto folder = bundle.resourceFolder();
  if (!folder) {
    showFailure(QStringLiteral("The launcher resources could not be found."));
    return;
  }
  UpdaterInvocation invocation{
      *folder / updaterScript, *folder / updaterConfiguration, region->id, std::nullopt,
      options.relaunchedFrom,  options.noSelfUpdate,           requested,  options.gameArguments};
  if (!isReadable(invocation.script) || !isReadable(invocation.configuration)) {
    showFailure(QStringLiteral("The launcher installation is incomplete."));
    return;
  }
  const auto ownBundle = launcherBundleURL();
  const auto ownVersion = launcherVersion();
  if (ownBundle && ownVersion) {
    invocation.launcher = {*ownBundle, *ownVersion};
  }

  mode = requested;
  sawGameStart = false;
  sawLauncherInstalled = false;
  lastErrorDetail.reset();
  checkOutcome.reset();
  outputBuffer.clear();
  showWorking(*region);

  process = launchUpdater(
      {updaterInterpreter, updaterArguments(invocation), updaterEnvironment(environment)});
  if (process == nullptr) {
    showFailure(QStringLiteral("The update service could not be started."));
    return;
  }
  appendLog(startLine(mode));
}

void LauncherController::showWorking(const Region &region) {
  regionPicker.setEnabled(false);
  logButton.hide();
  setButton(workingState(mode));
  statusLabel.setText(QStringLiteral("Checking for updates…"));
  versionLabel.setText(u"Connecting securely to " + region.name);
  versionLabel.setToolTip({});
  progress.show();
  progress.setIndeterminate(true);
  progress.setAnimating(true);
}

ChildProcess *LauncherController::launchUpdater(const Program &program) {
  // Whoever the updater leaves behind with its pipe may go on writing when the run is over. Those
  // lines belong in the log, but they do not speak for a run any more.
  const auto afterwards = std::make_shared<std::optional<LineAssembler>>();
  const auto log = [this](std::string_view entry) { appendLog(entry); };
  ChildProcess::Handlers handlers;
  handlers.output = [this, afterwards, log](std::string_view chunk) {
    if (*afterwards) {
      (*afterwards)->append(chunk, log);
    } else {
      consume(chunk);
    }
  };
  handlers.exited = [this, afterwards](int status) {
    afterwards->emplace();
    processFinished(status);
  };
  handlers.outputEnded = [afterwards, log] { (*afterwards)->flush(log); };
  std::error_code notShown;
  return ChildProcess::start(program, std::move(handlers), this, notShown);
}

void LauncherController::consume(std::string_view data) {
  outputBuffer.append(data, [this](std::string_view entry) { handleEntry(entry); });
}

void LauncherController::handleEntry(std::string_view entry) {
  appendLog(entry);
  handleOutputLine(entry.substr(0, entry.size() - 1));
}

void LauncherController::handleOutputLine(std::string_view line) {
  const std::optional<LineEffect> effect = interpretLine(line, mode, selectedRegionName());
  if (!effect) {
    return;
  }
  switch (effect->bar) {
    case LineEffect::Bar::unchanged:
      break;
    case LineEffect::Bar::percentage:
      progress.setIndeterminate(false);
      progress.setAnimating(false);
      progress.setValue(effect->percentage);
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
  if (effect->status) {
    statusLabel.setText(*effect->status);
  }
  if (effect->versionLine) {
    versionLabel.setText(*effect->versionLine);
  }
  switch (effect->event) {
    case LineEffect::Event::none:
      break;
    case LineEffect::Event::checkReport:
      checkOutcome = effect->checkOutcome;
      break;
    case LineEffect::Event::error:
      lastErrorDetail = effect->errorDetail;
      break;
    case LineEffect::Event::launcherInstalled:
      sawLauncherInstalled = true;
      break;
    case LineEffect::Event::clientInstalled:
      showInstalledVersion(QStringLiteral("Version"));
      showFooter();
      break;
    case LineEffect::Event::gameStarted: {
      constexpr std::chrono::milliseconds untilHidden{250};
      sawGameStart = true;
      QTimer::singleShot(untilHidden, this, [this] {
        window->orderOut();
        if (buttonState == ButtonState::retry) {  // failed already, and told so in the window alone
          application.requestUserAttention(statusLabel.text(), versionLabel.text());
        }
      });
      break;
    }
  }
}

void LauncherController::processFinished(int status) {
  outputBuffer.flush([this](std::string_view entry) { handleEntry(entry); });
  process = nullptr;
  const Verdict verdict =
      judgeRun({mode, status, sawLauncherInstalled, sawGameStart, checkOutcome, lastErrorDetail});
  switch (verdict.kind) {
    case Verdict::Kind::relaunch:
      relaunch([this](bool started) {
        if (started) {
          application.terminate();
        } else {
          sawLauncherInstalled = false;
          showFailure(
              QStringLiteral("The updated launcher was installed but could not be started."));
        }
      });
      break;
    case Verdict::Kind::failed:
      sawLauncherInstalled = false;
      sawGameStart = false;
      showFailure(verdict.message);
      break;
    case Verdict::Kind::checked:
      showCheckResult(*checkOutcome);
      break;
    case Verdict::Kind::checkFailed:
      showFailureAs(QStringLiteral("Couldn’t check for updates"), verdict.message);
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
