// The controller of the launcher: all of its state, and every operation on it. One object for the
// life of the program, on the main thread. It owns the window, the controls, the log and the run.
// A plain function of the floors below makes each decision; the controller applies it to the fields
// and the controls.
#pragma once

#include <QObject>
#include <QStringView>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "app/button_states.h"
#include "app/launch_options.h"
#include "install/installed_metadata.h"
#include "install/region_catalogue.h"
#include "platform/application.h"
#include "platform/bundle.h"
#include "platform/child_process.h"
#include "platform/durable_file.h"
#include "ui/label.h"
#include "ui/log_button.h"
#include "ui/main_menu.h"
#include "ui/main_window.h"
#include "ui/play_button.h"
#include "ui/progress_indicator.h"
#include "ui/region_picker.h"
#include "ui/selectable_label.h"
#include "updater/check_report.h"
#include "updater/mode.h"
#include "updater/output_stream.h"
#include "updater/run_record.h"

namespace tarvex {

class LauncherController : public QObject, public ApplicationDelegate, public WindowDelegate {
 public:
  // The inputs of the process, read once at its start. Tests pass their own.
  struct Surroundings {
    std::vector<std::string> arguments;    // the whole list; the first is the program's path
    std::vector<std::string> environment;  // for children; see platform/spawn.h
    Bundle bundle;
    std::filesystem::path home;
  };

  // The application must outlive the controller.
  LauncherController(Application &application, Surroundings surroundings);
  ~LauncherController() override;

  void applicationDidFinishLaunching() override;
  bool applicationShouldHandleReopen(const StartupTokens &tokens) override;
  bool applicationShouldTerminateAfterLastWindowClosed() override;
  TerminateReply applicationShouldTerminate() override;
  bool windowShouldClose() override;
  void applicationWillTerminate() override;

 private:
  struct Failure {
    QString status;
    QString message;
  };

  // launcher_controller.cpp: start, end, regions, places, log, button and failure.
  void createWindow();
  // Prints one line on standard error for the operator. Desktops keep these lines in their journal.
  static void explain(const std::filesystem::path &file, const QString &reason);
  void explainMissingVersion() const;
  void removeRetiredBundle();
  void loadRegions();
  void regionChanged();
  const Region *selectedRegion() const;
  std::optional<QString> selectedRegionId() const;
  std::optional<QStringView> selectedRegionName() const;

  const std::filesystem::path &supportDirectory();
  std::optional<std::filesystem::path> launcherBundleURL() const;
  std::optional<std::filesystem::path> retiredBundleURL() const;
  std::filesystem::path currentMetadataURL();
  std::optional<QString> launcherVersion() const;
  std::optional<InstalledMetadata> installedMetadata();
  void showFooter();
  void showInstalledVersion(const QString &prefix);

  void prepareLog();
  void appendLog(std::string_view text);
  void openLog();

  void setButton(ButtonState state);
  void primaryAction();
  void hideProgress();
  void showFailure(QStringView message);
  void showFailureAs(QStringView status, QStringView message);
  void requestAttention(const Failure &failure);

  bool runIsAlive() const;

  // launcher_controller_runs.cpp: the life of a run of the updater.
  void startUpdater(Mode requested);
  void showWorking(const Region &region);
  ChildProcess *launchUpdater(const Program &program);
  void consume(std::string_view data);
  void handleLine(const OutputLine &line);
  void handleOutputLine(std::string_view line);
  void applyBar(const LineEffect &effect);
  void gameDidStart();
  void processFinished(int status);
  void showCheckResult(const CheckOutcome &outcome);
  void relaunch(const std::function<void(bool started)> &completion);

  Application &application;
  const std::vector<std::string> environment;
  const Bundle bundle;
  const std::filesystem::path home;

  std::unique_ptr<MainMenu> mainMenu;
  std::unique_ptr<MainWindow> window;
  RegionPicker regionPicker;
  std::vector<Region> regions;
  Label statusLabel{QStringLiteral("Checking for updates…")};
  Label versionLabel{QStringLiteral("Connecting securely…")};
  SelectableLabel launcherLabel;
  ProgressIndicator progress;
  PlayButton playButton{QStringLiteral("Checking…")};
  LogButton logButton{QStringLiteral("View Log")};

  ChildProcess *process = nullptr;  // the current run; absent between runs; deletes itself
  LineAssembler outputBuffer;
  std::optional<DurableFile> logHandle;  // absent: there is no log
  RunRecord run;                         // of the current or last run
  ButtonState buttonState = ButtonState::checking;

  // A failure that was shown after the game's start and before the window is hidden.
  std::optional<Failure> failureBeforeHiding;

  // One-shot flags that a run passes on to the next run.
  bool automaticUpdatePending = false;  // update without a click when a check finds something
  bool playAfterCheck = false;          // start the game when a check finds nothing

  const LaunchOptions options;
  std::optional<std::filesystem::path> cachedSupportDirectory;
};

}  // namespace tarvex
