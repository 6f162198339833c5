// The vocabulary of the updater's lines, and the effect of each on the launcher.
// docs/updater-protocol.md describes it for authors of updaters. Plain functions over values, for
// any thread.
#pragma once

#include <QString>
#include <QStringView>
#include <optional>
#include <string_view>
#include <vector>

#include "updater/check_report.h"
#include "updater/mode.h"

namespace tarvex {

// The effect of one line. Apply the fields in their order; an absent field changes nothing.
struct LineEffect {
  enum class Bar {
    unchanged,
    percentage,  // determinate, at `percentage`
    busy,        // indeterminate, animating
    full,        // at 100 and not animating, determinate or not
  };
  enum class Event {
    none,
    checkReport,        // sets `checkOutcome`, absent when the report is not valid
    error,              // sets `errorDetail`, which may be empty
    launcherInstalled,  // the updated launcher must be started when the run has ended
    clientInstalled,    // the installed version may have changed
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

// The effect of a line; absent for most lines. The line is well-formed UTF-8, trimmed and not
// empty. `regionName` is the name of the selected region. In the mode check, only reports and
// errors have an effect.
std::optional<LineEffect> interpretLine(std::string_view line, Mode mode,
                                        std::optional<QStringView> regionName);

// The form of a line that has an effect: it begins with `beginning` and ends with `end`.
struct LineForm {
  QString beginning;
  QString end;   // may be empty
  bool isWhole;  // the line is exactly `beginning`
  bool inCheck;  // it has its effect in the mode check, too
};

// All forms, for tools that find lines that are almost equal to a form.
std::vector<LineForm> lineForms();

// The number that all digits of the line form together: "1 of 20" gives 120. 0 when there is no
// digit, and when the line has a numeric character other than 0 to 9. Never negative; infinite when
// it is too large for a double.
double percentageOf(std::string_view line);

// The number in decimal, without its fraction, at most the largest signed 64-bit integer.
QString wholeNumber(double number);

}  // namespace tarvex
