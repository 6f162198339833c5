// Rules that find common mistakes of an updater, in a line or in a whole run. Each finding is one
// line of text that names the mistake and the remedy. Plain functions over values.
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

// The notes on one run of an updater, up to now.
struct RunNotes {
  RunRecord record;
  bool sawClientInstalled = false;
  bool barIsBusy = true;
  QString download;       // the subject of the last percentage, such as "Downloading client"
  double percentage = 0;  // may exceed 100
  std::vector<TimedEffect> effects;
  QString lastLine;
  int linesOfGame = 0;
  // Set after the end.
  int status = 0;
  std::optional<int> fatalSignal{};
  qint64 duration = 0;        // milliseconds
  QStringList lateLines;      // printed after the end
  QStringList leftBehind;     // names of processes that still run
  bool outputIsOpen = false;  // one of them may still print

  // Records a line, its effect if it has one, and its time in milliseconds since the start.
  void take(std::string_view bytes, const std::optional<LineEffect> &effect, qint64 time);
};

// `before` is the run without the line.
QStringList findingsAboutLine(std::string_view bytes, const std::optional<LineEffect> &effect,
                              const RunNotes &before);

// For a line that makes the launcher read current.json, with the content of that file.
QStringList findingsAboutInstalled(QStringView line, const Expected<std::string> &file);

QStringList findingsAboutRun(const RunNotes &run);

}  // namespace tarvex
