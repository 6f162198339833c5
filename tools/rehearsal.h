// Runs an updater as the launcher would, without its window. A rehearsal ends where the launcher
// would wait for the player or end. Processes that the updater leaves behind are killed after each
// run. Main thread.
#pragma once

#include <QElapsedTimer>
#include <QObject>
#include <QPointer>
#include <QTimer>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "findings.h"
#include "install/region_catalogue.h"
#include "platform/child_process.h"
#include "report.h"
#include "updater/output_stream.h"
#include "updater/run_completion.h"

namespace tarvex {

struct RehearsalPlan {
  std::filesystem::path home;       // a folder that the updater may change in any way
  std::filesystem::path resources;  // holds the updater and the catalogue
  std::optional<QString> region{};
  std::optional<std::filesystem::path> bundle{};  // may be replaced
  bool update = false;                            // as with --continue
  bool play = false;                              // as if Play were pressed
  std::vector<std::string> gameArguments{};
  std::chrono::seconds silence{};  // a run without output for this long is broken off
};

class Rehearsal : public QObject {
 public:
  // The report must outlive the rehearsal. At its end, the rehearsal quits the event loop.
  Rehearsal(RehearsalPlan plan, Report &report);

  void start();

 private:
  void openLauncher();
  void startUpdater(Mode mode);
  void consume(std::string_view bytes);
  void handleLine(const OutputLine &output);
  void showInstalled(const QString &prefix, const Expected<std::string> &file);
  void exited(int status);
  void waitForTheRest();
  void decide(const Verdict &verdict);
  void showCheckResult(const CheckOutcome &outcome);
  void relaunch();
  void breakOff();

  void warn(const QString &text, const QString &line = {});
  void fail(QStringView status, QStringView message);
  void end();

  RehearsalPlan m_plan;
  Report &m_report;
  const std::vector<std::string> m_environment;
  QString m_during;  // the launcher's activity, for warnings and failures
  std::optional<QString> m_version;
  std::optional<QString> m_relaunchedFrom;
  Region m_region;
  bool m_automaticUpdatePending;
  bool m_playAfterCheck;
  std::optional<CheckOutcome> m_updatedAfter;  // the offer of the check before the update run
  int m_relaunches = 0;

  QPointer<ChildProcess> m_child;
  LineAssembler m_lines;
  LineAssembler m_lateLines;
  bool m_pipeIsHeld = false;
  RunNotes m_run;
  QElapsedTimer m_sinceStart;
  QTimer m_silence;
  QTimer m_rest;
};

}  // namespace tarvex
