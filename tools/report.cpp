#include "report.h"

#include <QStringList>
#include <array>
#include <cstdio>
#include <iterator>
#include <nlohmann/json.hpp>

namespace tarvex {
namespace {

using Bar = LineEffect::Bar;
using Event = LineEffect::Event;

// In the patterns, %1 is the first value.
struct Row {
  const char *name;
  QStringView text;
  QStringView problem;  // for Form::problems; empty: not printed
  std::array<const char *, 3> values;
};

constexpr Row rows[] = {
    {"note", u"%1", {}, {"text"}},
    {"region", u"Region “%1” (%2)", {}, {"name", "id"}},
    {"run", u"\nRun: %1\n  %2", {}, {"mode", "command"}},
    {"line", u"  | %1  ->  %2", {}, {"text", "meaning"}},
    {"warning", u"      warning: %3", u"%1: warning: %2%3", {"during", "line", "text"}},
    {"installed", u"      footer “%1”, version line “%2”", {}, {"footer", "versionLine"}},
    {"end", u"  Ended with %1 after %2 s", {}, {"with", "seconds"}},
    {"result",
     u"  => status “%1”, version line “%2”, button %3",
     {},
     {"status", "versionLine", "button"}},
    {"failure",
     u"  => FAILURE: status “%2”, version line “%3”, button Retry",
     u"%1: failure: %2: %3",
     {"during", "status", "versionLine"}},
    {"failure", u"  => FAILURE: %2", u"%1: failure: %2", {"during", "text"}},
    {"summary", u"\nFailures: %1, warnings: %2", {}, {"failures", "warnings"}},
};

QString filled(QStringView pattern, std::initializer_list<QString> values) {
  QString text;
  for (qsizetype index = 0; index < pattern.size(); ++index) {
    if (pattern[index] == u'%') {
      text += *(values.begin() + (pattern[++index].digitValue() - 1));
    } else {
      text += pattern[index];
    }
  }
  return text;
}

std::string json(const Row &row, std::initializer_list<QString> values) {
  nlohmann::ordered_json object{{"entry", row.name}};
  const char *const *name = row.values.begin();
  for (const QString &value : values) {
    object[*name++] = value.toStdString();
  }
  return object.dump();
}

QString offer(QStringView what, const std::optional<QString> &version) {
  return version ? QString(what + u' ' + *version) : QString(u"no " + what);
}

QString describeEvent(const LineEffect &effect) {
  switch (effect.event) {
    case Event::checkReport:
      return !effect.checkOutcome
                 ? QStringLiteral("report rejected: no report counts until another one comes")
                 : u"report: offers " + offer(u"launcher", effect.checkOutcome->launcherVersion) +
                       u", " + offer(u"client", effect.checkOutcome->clientRelease);
    case Event::error:
      return u"kept as the explanation of a failure: " + quoted(effect.errorDetail);
    case Event::launcherInstalled:
      return QStringLiteral("the launcher will start again after this run");
    case Event::clientInstalled:
      return QStringLiteral("current.json is read");
    case Event::gameStarted:
      return QStringLiteral("the window hides after 0.25 s");
    case Event::none:
      break;
  }
  return {};
}

QString describeBar(const LineEffect &effect, bool barIsBusy) {
  switch (effect.bar) {
    case Bar::percentage:
      return u"bar at " + QString::number(effect.percentage);
    case Bar::busy:
      return QStringLiteral("bar busy");
    case Bar::full:
      return barIsBusy ? QStringLiteral("bar busy still") : QStringLiteral("bar at 100");
    case Bar::unchanged:
      break;
  }
  return {};
}

}  // namespace

void Report::tell(Entry entry, std::initializer_list<QString> values) {
  m_warnings += entry == Entry::warning ? 1 : 0;
  m_failures += entry == Entry::failure || entry == Entry::standstill ? 1 : 0;
  const Row &row = rows[static_cast<std::size_t>(entry)];
  const QStringView pattern = m_form == Form::problems ? row.problem : row.text;
  const std::string line =
      m_form == Form::json ? json(row, values) : filled(pattern, values).toStdString();
  if (!line.empty()) {
    std::puts(line.c_str());
    std::fflush(stdout);
  }
}

QString printable(QStringView line) {
  QString result;
  for (const QChar character : line) {
    if (character.category() == QChar::Other_Control) {
      result += u"\\x" + QString::number(character.unicode(), 16).rightJustified(2, u'0');
    } else {
      result += character;
    }
  }
  return result;
}

QString quoted(QStringView text) {
  return u'“' + printable(text) + u'”';
}

QString describe(const LineEffect &effect, bool barIsBusy) {
  QStringList parts{describeEvent(effect)};
  if (effect.status) {
    parts += u"status " + quoted(*effect.status);
  }
  if (effect.versionLine) {
    parts += u"version line " + quoted(*effect.versionLine);
  }
  parts += describeBar(effect, barIsBusy);
  parts.removeAll(QString());
  return parts.join(u"; ");
}

}  // namespace tarvex
