#include <QTimer>
#include <chrono>
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

// What the log says when a run has been started, by the mode.
constexpr std::string_view startLines[] = {
    "Checking for updates.\n",
    "Starting update.\n",
    "Starting update check.\n",
};

}  // namespace

void LauncherController::startUpdater(Mode requested) {
  const Region *const region = selectedRegion();
  if (process != nullptr || region == nullptr) {
    return;
  }
  const auto folder = bundle.resourceFolder();
  if (!folder) {
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
  if (!isReadable(invocation.script) || !isReadable(invocation.configuration)) {
    showFailure(failures::incomplete);
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
    showFailure(failures::noUpdater);
    return;
  }
  appendLog(startLines[static_cast<std::size_t>(mode)]);
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
          application.requestUserAttention(*window, statusLabel.text(), versionLabel.text());
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
          showFailure(failures::noRelaunch);
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
