// What a rehearsal tells: one entry after the other on standard output, as text or as JSON.
#pragma once

#include <QString>
#include <QStringView>
#include <initializer_list>

#include "updater/progress_lines.h"

namespace tarvex {

// The values of each are those of its row in report.cpp.
enum class Entry {
  note,
  region,
  run,
  line,
  warning,
  installed,
  end,
  result,
  failure,
  standstill,  // a failure, too
  summary,
};

class Report {
 public:
  enum class Form {
    text,
    problems,  // text, and of it only warnings and failures, each complete without its context
    json,      // a JSON object a line, with the member "entry" and the names of the values
  };
  explicit Report(Form form) : m_form(form) {}

  void tell(Entry entry, std::initializer_list<QString> values);
  int warnings() const { return m_warnings; }
  int failures() const { return m_failures; }

 private:
  Form m_form;
  int m_warnings = 0;
  int m_failures = 0;
};

// Control characters are shown, and do nothing.
QString printable(QStringView line);

QString quoted(QStringView text);

// "status “…”; bar at 37", for instance. A bar that is busy does not go to 100 at the game's start.
QString describe(const LineEffect &effect, bool barIsBusy);

}  // namespace tarvex
