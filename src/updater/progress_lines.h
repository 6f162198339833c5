// The vocabulary of the updater's lines: what each does to the launcher.
#pragma once

#include <QString>
#include <QStringView>
#include <optional>
#include <string_view>
#include <vector>

#include "updater/check_report.h"
#include "updater/mode.h"

namespace tarvex {

// The effect of one line, to be applied from top to bottom. What is absent stays as it is.
struct LineEffect {
  enum class Bar {
    unchanged,
    percentage,  // determinate, standing at `percentage`
    busy,        // indeterminate, animating
    full,        // standing at 100, whichever it was
  };
  enum class Event {
    none,
    checkReport,        // with `checkOutcome`, absent when the report is not valid
    error,              // with `errorDetail`, perhaps empty
    launcherInstalled,  // the launcher must start again when the run has ended
    clientInstalled,    // what is installed may be another version than before
    gameStarted,
  };

  Bar bar = Bar::unchanged;
  double percentage = 0;  // 0 to 100
  std::optional<QString> status;
  std::optional<QString> versionLine;
  Event event = Event::none;
  std::optional<CheckOutcome> checkOutcome;
  QString errorDetail;

  bool operator==(const LineEffect &) const = default;
};

// What a line means; nothing for most. It is well-formed UTF-8, trimmed and not empty. `regionName`
// is that of the selected region, if there is one. In the mode check, only reports and errors
// count.
std::optional<LineEffect> interpretLine(std::string_view line, Mode mode,
                                        std::optional<QStringView> regionName);

// What a form looks like: a line that begins and ends with these texts, the latter perhaps empty,
// or that is `beginning` and nothing else.
struct LineForm {
  QString beginning;
  QString end;
  bool isWhole;
  bool inCheck;  // whether it counts in the mode check, too
};

// All forms, for whoever looks for lines that miss one narrowly.
std::vector<LineForm> lineForms();

// The number that all digits of the line make together, however they are set apart; 0 for none, and
// for a line with any numeric character but 0 to 9. Never negative; infinite when it is too large
// for a double.
double percentageOf(std::string_view line);

// Without its fraction, in decimal; what is too large for 64 bits with a sign is the largest number
// that is not.
QString wholeNumber(double number);

}  // namespace tarvex
