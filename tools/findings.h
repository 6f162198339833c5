// The mistakes that are easily made in an updater, each found in the values of a line or of a run,
// with what to do about it.
#pragma once

#include <QString>
#include <QStringList>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/expected.h"
#include "updater/run_record.h"

namespace tarvex {

struct TimedEffect {
  qint64 time;  // milliseconds since the run's start
  bool isPercentage;
};

// One run of an updater, as far as it has come.
struct RunNotes {
  RunRecord record;
  bool sawClientInstalled = false;
  bool barIsBusy = true;
  QString download;       // what the last percentage was of, "Downloading client" for instance
  double percentage = 0;  // not limited to 100
  std::vector<TimedEffect> effects;
  QString lastLine;
  int linesOfGame = 0;
  // When it has ended.
  int status = 0;
  std::optional<int> fatalSignal{};
  qint64 duration = 0;     // milliseconds
  QStringList lateLines;   // after the end
  QStringList leftBehind;  // the names of processes

  // Notes down a line, its effect if it has one, and its time in milliseconds since the start.
  void take(std::string_view bytes, const std::optional<LineEffect> &effect, qint64 time);
};

// `before` is the run without the line.
QStringList findingsAboutLine(std::string_view bytes, const std::optional<LineEffect> &effect,
                              const RunNotes &before);

// For a line that makes the launcher read the file current.json.
QStringList findingsAboutInstalled(QStringView line, const Expected<std::string> &file);

QStringList findingsAboutRun(const RunNotes &run);

}  // namespace tarvex
