#include "app/launcher_controller.h"

#include <cstdio>

#include "app/second_start.h"
#include "install/launcher_log.h"
#include "install/locations.h"
#include "platform/background_removal.h"
#include "platform/text_viewer.h"
#include "platform/user_settings.h"
#include "updater/failures.h"

namespace tarvex {
namespace {

QString regionSetting() {
  return QStringLiteral("selectedRegion");
}

}  // namespace

LauncherController::LauncherController(Application &theApplication, Surroundings surroundings)
    : application(theApplication),
      environment(std::move(surroundings.environment)),
      bundle(std::move(surroundings.bundle)),
      home(std::move(surroundings.home)),
      options(LaunchOptions::parse(surroundings.arguments)) {}

LauncherController::~LauncherController() = default;

// The order is fixed: the log comes before the first run, and the first check already runs when the
// window appears.
void LauncherController::applicationDidFinishLaunching() {
  explainMissingVersion();
  createWindow();
  prepareLog();
  removeRetiredBundle();
  automaticUpdatePending = options.automaticContinue;
  loadRegions();
  window->makeKeyAndOrderFront();
}

void LauncherController::explain(const std::filesystem::path &file, const QString &reason) {
  std::fprintf(stderr, "tarvex-launcher: %s: %s\n", file.c_str(), qUtf8Printable(reason));
}

void LauncherController::explainMissingVersion() const {
  if (const auto version = bundleVersion(bundle); !version) {
    explain(bundle.path, u"unpackaged, so never updated: " + version.reason());
  } else if (!launcherBundleURL()) {
    explain(bundle.path, QStringLiteral("never updated: the name does not end in “.app”"));
  }
}

void LauncherController::createWindow() {
  mainMenu = std::make_unique<MainMenu>(application);
  window =
      std::make_unique<MainWindow>(WindowControls{regionPicker, statusLabel, versionLabel, progress,
                                                  playButton, logButton, launcherLabel},
                                   *mainMenu, *this);
  connect(&regionPicker, &QComboBox::activated, this, &LauncherController::regionChanged);
  connect(&playButton, &QAbstractButton::clicked, this, &LauncherController::primaryAction);
  connect(&logButton, &QAbstractButton::clicked, this, &LauncherController::openLog);
  setButton(ButtonState::checking);
  showFooter();
}

bool LauncherController::applicationShouldHandleReopen(const StartupTokens &tokens) {
  switch (onSecondStart(window->isVisible(), runIsAlive())) {
    case SecondStart::comeForward:
      window->comeForward(tokens);
      return true;
    case SecondStart::leaveAlone:
      break;
    case SecondStart::makeWay:
      application.terminate();
      break;
  }
  return false;
}

bool LauncherController::applicationShouldTerminateAfterLastWindowClosed() {
  return true;
}

TerminateReply LauncherController::applicationShouldTerminate() {
  // While the game runs, the launcher stays to report a crash.
  return run.sawGameStart && runIsAlive() ? TerminateReply::cancel : TerminateReply::now;
}

bool LauncherController::windowShouldClose() {
  if (!runIsAlive()) {
    return true;
  }
  if (run.sawGameStart) {  // the launcher must stay until the game has ended
    window->orderOut();
    return false;
  }
  process->terminate();
  return true;
}

void LauncherController::applicationWillTerminate() {
  if (runIsAlive() && !run.sawGameStart) {
    process->terminate();
  }
  logHandle.reset();
}

// `process` alone is not enough: it stays set until the exit is judged, which a flood may delay.
bool LauncherController::runIsAlive() const {
  return process != nullptr && process->isRunning();
}

void LauncherController::removeRetiredBundle() {
  if (const auto retired = retiredBundleURL()) {
    removeInBackground(*retired);
  }
}

void LauncherController::loadRegions() {
  const std::filesystem::path file = bundle.resources / updaterConfiguration;
  const auto fail = [&](const std::filesystem::path &path, const QString &reason) {
    explain(path, reason);
    showFailure(failures::invalidRegions);
    playButton.setEnabled(false);  // without a region, Retry could do nothing
    regionPicker.setEnabled(false);
  };
  const auto catalogue = readRegions(file);
  if (!bundle.resourceFolder()) {
    fail(bundle.resources, QStringLiteral("no such folder"));
    return;
  }
  if (!catalogue) {
    fail(file, catalogue.reason());
    return;
  }
  regions = catalogue->regions;
  for (const Region &region : regions) {
    regionPicker.addRegion(region.name);
  }
  const auto first = initialRegion(
      regions, {options.region, userSetting(regionSetting()), catalogue->defaultRegion});
  if (!first) {
    fail(file, QStringLiteral("“defaultRegion” is the id of no region"));
    return;
  }
  regionPicker.setCurrentIndex(static_cast<int>(*first));  // emits no `activated`
  regionChanged();
}

void LauncherController::regionChanged() {
  const Region *const region = selectedRegion();
  if (process != nullptr || region == nullptr) {
    return;
  }
  setUserSetting(regionSetting(), region->id);
  showFooter();
  startUpdater(Mode::check);
}

const Region *LauncherController::selectedRegion() const {
  const auto index = static_cast<std::size_t>(regionPicker.currentIndex());
  // No selection is -1, which is larger than any size when unsigned.
  return index < regions.size() ? &regions[index] : nullptr;
}

std::optional<QString> LauncherController::selectedRegionId() const {
  const Region *const region = selectedRegion();
  return region != nullptr ? std::optional(region->id) : std::nullopt;
}

std::optional<QStringView> LauncherController::selectedRegionName() const {
  const Region *const region = selectedRegion();
  return region != nullptr ? std::optional<QStringView>(region->name) : std::nullopt;
}

const std::filesystem::path &LauncherController::supportDirectory() {
  if (!cachedSupportDirectory) {
    cachedSupportDirectory = supportFolder(home);
  }
  return *cachedSupportDirectory;
}

std::optional<std::filesystem::path> LauncherController::launcherBundleURL() const {
  return applicationBundle(bundle);
}

std::optional<std::filesystem::path> LauncherController::retiredBundleURL() const {
  const auto current = launcherBundleURL();
  return current ? std::optional(retiredBundle(*current)) : std::nullopt;
}

std::filesystem::path LauncherController::currentMetadataURL() {
  return currentMetadata(supportDirectory(), selectedRegionId());
}

std::optional<QString> LauncherController::launcherVersion() const {
  return bundleVersion(bundle).optional();
}

std::optional<InstalledMetadata> LauncherController::installedMetadata() {
  return readInstalledMetadata(currentMetadataURL()).optional();
}

void LauncherController::showFooter() {
  const QString text = footerText(launcherVersion(), installedMetadata());
  launcherLabel.setText(text);
  launcherLabel.setToolTip(text);
}

void LauncherController::showInstalledVersion(const QString &prefix) {
  if (const auto installed = installedMetadata()) {
    versionLabel.setText(installedVersionText(prefix, *installed));
    versionLabel.setToolTip(installedVersionToolTip(*installed));
  }
}

void LauncherController::prepareLog() {
  logHandle = openLauncherLog(supportDirectory());
  appendLog(openingHeader(QDateTime::currentDateTimeUtc()));
}

void LauncherController::appendLog(std::string_view text) {
  if (logHandle) {
    logHandle->append(text);  // a failure is ignored: a full disk must not stop the game
  }
}

void LauncherController::openLog() {
  showTextFile(launcherLog(supportDirectory()), environment, this);
}

void LauncherController::setButton(ButtonState state) {
  const ButtonLook look = lookOf(state);
  buttonState = state;
  playButton.setText(look.title.toString());
  playButton.setEnabled(look.isEnabled);
  playButton.setAccessibleDescription(look.help.toString());
  playButton.update();
}

void LauncherController::primaryAction() {
  switch (buttonState) {
    case ButtonState::checking:
    case ButtonState::updating:
    case ButtonState::starting:
      break;
    case ButtonState::update:
      startUpdater(Mode::update);
      break;
    case ButtonState::play:
      // Check first: the game must not start with an outdated client.
      playAfterCheck = true;
      startUpdater(Mode::check);
      break;
    case ButtonState::retry:
      startUpdater(Mode::check);
      break;
  }
}

void LauncherController::hideProgress() {
  progress.setAnimating(false);
  progress.setIndeterminate(false);
  progress.setValue(0);
  progress.hide();
}

void LauncherController::showFailure(QStringView message) {
  showFailureAs(failures::startFailed, message);
}

void LauncherController::showFailureAs(QStringView status, QStringView message) {
  // The reason is in the tooltip, too: the line may be shortened.
  hideProgress();
  statusLabel.setText(status.toString());
  versionLabel.setText(message.toString());
  versionLabel.setToolTip(message.toString());
  setButton(ButtonState::retry);
  regionPicker.setEnabled(true);
  logButton.setVisible(logHandle.has_value());  // without a log there is nothing to open
  window->linesTellOfFailure();
  failureBeforeHiding = {status.toString(), message.toString()};
  requestAttention(*failureBeforeHiding);
}

void LauncherController::requestAttention(const Failure &failure) {
  application.requestUserAttention(*window, failure.status, failure.message);
}

}  // namespace tarvex
