// The output of a rehearsal: entries on standard output, as text or as JSON (RFC 8259).
#pragma once

#include <QString>
#include <QStringView>
#include <initializer_list>

#include "updater/progress_lines.h"

namespace tarvex {

// The values of each entry are named in its row in report.cpp.
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
    problems,  // text; only warnings and failures, each understandable without the other lines
    json,      // one JSON object on each line, with the member "entry" and the named values
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

// The line with its control characters as visible escapes, such as "\x1b".
QString printable(QStringView line);

QString quoted(QStringView text);

// The effect in words, such as "status “…”; bar at 37". At the game's start, a busy bar stays busy.
QString describe(const LineEffect &effect, bool barIsBusy);

}  // namespace tarvex
