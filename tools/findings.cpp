#include "findings.h"

#include <algorithm>

#include "install/installed_metadata.h"
#include "install/json.h"
#include "platform/descendants.h"
#include "report.h"
#include "text/unicode_text.h"
#include "updater/run_completion.h"

namespace tarvex {
namespace {

using Bar = LineEffect::Bar;
using Event = LineEffect::Event;

// Only the letters and digits, in lower case. An inexact copy of a text has the same gist.
QString gist(QStringView text) {
  QString result;
  std::copy_if(text.begin(), text.end(), std::back_inserter(result),
               [](QChar character) { return character.isLetterOrNumber(); });
  return result.toLower();
}

// A beginning of a single word, such as "Client ", is too common; the end must match, too.
bool resembles(QStringView line, const LineForm &form) {
  const QString lineGist = gist(line);
  return lineGist.contains(gist(form.beginning)) &&
         (lineGist.endsWith(gist(form.end)) || form.beginning.trimmed().contains(u' '));
}

QString differenceFrom(const LineForm &form, QStringView line) {
  const qsizetype exact = line.indexOf(form.beginning);
  if (line.contains(u"...") && (form.beginning.endsWith(u'…') || form.end.endsWith(u'…'))) {
    return QStringLiteral("three full stops are not the one character “…” (U+2026)");
  }
  if (exact > 0) {
    return QStringLiteral("other text stands before it");
  }
  if (exact == 0) {
    return form.isWhole ? QStringLiteral("other text stands after it")
                        : QStringLiteral("it ends otherwise");
  }
  return line.contains(form.beginning, Qt::CaseInsensitive)
             ? QStringLiteral("upper and lower case differ")
             : QStringLiteral("spaces, punctuation or letters differ");
}

QString aboutUnknown(QStringView line, Mode mode) {
  for (const LineForm &form : lineForms()) {
    if ((form.inCheck || mode != Mode::check) && resembles(line, form)) {
      const QString pattern = form.beginning + (form.isWhole ? u"" : u"*") + form.end;
      return u"not recognised, but resembles “" + pattern + u"”: " + differenceFrom(form, line);
    }
  }
  return {};
}

QString aboutPercentage(QStringView line, double percentage, const RunNotes &before) {
  int numbers = 0;
  bool foreign = false;
  bool inNumber = false;
  forEachCharacter(line, [&](QStringView character) {
    const bool numeric = isNumeric(character);
    numbers += numeric && !inNumber ? 1 : 0;
    foreign = foreign || (numeric && (character.front() < u'0' || character.front() > u'9'));
    inNumber = numeric;
    return true;
  });
  const QString shown = wholeNumber(percentage);
  if (foreign) {
    return QStringLiteral(
        "a numeric character other than 0 to 9 makes the percentage 0: print ASCII digits");
  }
  if (numbers == 0) {
    return QStringLiteral("no number, so the percentage is 0: print a whole one from 0 to 100");
  }
  if (numbers > 1) {
    return u"the digits of all numbers of the line run together to " + shown +
           u": print one whole number";
  }
  if (percentage > 100) {
    return u"more than 100: the bar is full, and the status shows " + shown + u'%';
  }
  if (line.startsWith(before.download) && percentage < before.percentage) {
    return u"the percentage goes back, from " + wholeNumber(before.percentage) +
           u": print that of the whole download";
  }
  return {};
}

struct Token {
  QStringView before;  // a valid token between `before` and `after` makes a valid report
  QStringView after;
  QStringView wanted;
};

constexpr Token tokensOfReport[] = {
    {u"UPDATE_CHECK ", u" client=current",
     u"launcher=current, launcher=unknown, launcher=unpackaged, launcher=unconfigured or "
     u"launcher=available:VERSION, with 16 digits of 0-9 a-f"},
    {u"UPDATE_CHECK launcher=current ", u"",
     u"client=current or client=available:RELEASE, with 1 to 64 characters of A-Z a-z 0-9 . _ - "
     u"that begin with a letter or digit"},
    {u"UPDATE_CHECK launcher=current client=current ", u"",
     u"world=unknown or world=N.N.N.HASH, with numbers of 1 to 9 digits and 12 digits of 0-9 a-f"},
};

QString whyRejected(QStringView report) {
  const QList<QStringView> tokens = report.split(u' ', Qt::SkipEmptyParts).sliced(1);
  for (qsizetype index = 0; index < std::min<qsizetype>(tokens.size(), 3); ++index) {
    const Token &rule = tokensOfReport[index];
    if (!parseCheck(QString(rule.before % tokens[index] % rule.after))) {
      return quoted(tokens[index]) + u" is not " + rule.wanted;
    }
  }
  return tokens.size() < 2 ? QStringLiteral("launcher=… and client=… are required")
                           : QStringLiteral("nothing may follow launcher, client and world");
}

QString aboutEffect(std::string_view bytes, const LineEffect &effect, const RunNotes &before) {
  const QString line = decodedUtf8(bytes);
  if (effect.bar == Bar::percentage) {
    return aboutPercentage(line, percentageOf(bytes), before);
  }
  if (effect.event == Event::checkReport && !effect.checkOutcome) {
    return whyRejected(line);
  }
  if (effect.event == Event::error && effect.errorDetail.isEmpty()) {
    return QStringLiteral("without a text, the player gets an empty explanation: add a sentence");
  }
  if (effect.versionLine && effect.versionLine->contains(u"...")) {
    return QStringLiteral("three full stops stay; the character “…” would be removed");
  }
  if (effect.event == Event::gameStarted && before.record.mode == Mode::update) {
    return QStringLiteral("hides the window, but an update run starts no game: leave it out");
  }
  return {};
}

// --- Rules about whole runs. Each returns an empty text when it finds no mistake. ---

bool isFailure(const RunNotes &run) {
  const Verdict::Kind kind = judgeRun(run.record, run.status).kind;
  return kind == Verdict::Kind::failed || kind == Verdict::Kind::checkFailed;
}

bool isSuccessful(const RunNotes &run, Mode mode) {
  return run.record.mode == mode && run.status == 0;
}

QString killed(const RunNotes &run) {
  return run.fatalSignal ? u"killed by " + QString::fromStdString(signalName(*run.fatalSignal)) +
                               u": end with a status, after an error line"
                         : QString();
}

QString crashOfGame(const RunNotes &run) {
  return isFailure(run) && run.record.sawGameStart && !run.fatalSignal
             ? u"to the player, the status " + QString::number(run.status) +
                   u" after the game’s start is a crash. The last line is " + quoted(run.lastLine)
             : QString();
}

QString unexplained(const RunNotes &run) {
  const bool isExplained = run.record.lastErrorDetail || run.record.sawGameStart;
  return isFailure(run) && run.status != 0 && !run.fatalSignal && !isExplained
             ? u"the status " + QString::number(run.status) +
                   u" is a failure that nothing explains to the player: print “Tarvex launcher "
                   u"error: …” before. The last line is " +
                   quoted(run.lastLine)
             : QString();
}

QString withoutReport(const RunNotes &run) {
  return isSuccessful(run, Mode::check) && !run.record.checkOutcome
             ? QStringLiteral(
                   "no valid report: print one UPDATE_CHECK line, or end with a status "
                   "other than 0")
             : QString();
}

QString reportThatDoesNotCount(const RunNotes &run) {
  return run.record.mode == Mode::check && run.status != 0 && run.record.checkOutcome
             ? QStringLiteral("with a status other than 0 the report does not count: end with 0")
             : QString();
}

QString withoutResult(const RunNotes &run) {
  return isSuccessful(run, Mode::update) && !run.sawClientInstalled &&
                 !run.record.sawLauncherInstalled && !run.record.lastErrorDetail
             ? QStringLiteral(
                   "a success, but nothing says what is installed: print “Installed "
                   "client …” or “Client … is current.”")
             : QString();
}

QString withoutGame(const RunNotes &run) {
  return isSuccessful(run, Mode::play) && !run.record.sawGameStart &&
                 !run.record.sawLauncherInstalled
             ? QStringLiteral("the start of the game was not told: print “Starting Tarvex…” before")
             : QString();
}

QString errorOfSuccess(const RunNotes &run) {
  return run.status == 0 && run.record.lastErrorDetail
             ? QStringLiteral(
                   "an error line, but the status 0 is a success: end with another status")
             : QString();
}

// Percentages that arrive together after a silence were held back in a buffer.
QString buffered(const RunNotes &run) {
  constexpr qint64 silence = 1000;  // milliseconds
  constexpr qint64 together = 20;   // milliseconds
  constexpr int enough = 3;
  qint64 before = 0;
  for (auto first = run.effects.begin(); first != run.effects.end(); ++first) {
    const auto comesWithIt = [&](const TimedEffect &effect) {
      return effect.isPercentage && effect.time - first->time <= together;
    };
    if (first->time - before >= silence &&
        std::count_if(first, run.effects.end(), comesWithIt) >= enough) {
      return QStringLiteral(
          "percentages come together after a silence: flush what is printed, and read a child’s "
          "output while it runs");
    }
    before = first->time;
  }
  return {};
}

QString gameLeftAlone(const RunNotes &run) {
  return isSuccessful(run, Mode::play) && run.record.sawGameStart && !run.leftBehind.isEmpty()
             ? u"the run is over, and the launcher ends, before the end of " +
                   run.leftBehind.join(u", ") + u": wait for the game"
             : QString();
}

QString outputAfterTheEnd(const RunNotes &run) {
  if (!run.lateLines.isEmpty()) {
    return u"output after the end is only logged: wait for the process that prints " +
           quoted(run.lateLines.front());
  }
  return run.outputIsOpen && gameLeftAlone(run).isEmpty()
             ? u"output after the end is only logged: wait for " + run.leftBehind.join(u", ") +
                   u", or redirect its output"
             : QString();
}

QString longOutputOfGame(const RunNotes &run) {
  constexpr int bearable = 1000;
  return run.linesOfGame > bearable
             ? u"the game has printed " + QString::number(run.linesOfGame) +
                   u" lines; it is slow, because each is forced to the disk: redirect its output"
             : QString();
}

constexpr QString (*rules[])(const RunNotes &) = {
    killed,
    crashOfGame,
    unexplained,
    withoutReport,
    reportThatDoesNotCount,
    withoutResult,
    withoutGame,
    errorOfSuccess,
    buffered,
    gameLeftAlone,
    outputAfterTheEnd,
    longOutputOfGame,
};

}  // namespace

void RunNotes::take(std::string_view bytes, const std::optional<LineEffect> &effect, qint64 time) {
  lastLine = decodedUtf8(bytes);
  linesOfGame += record.sawGameStart ? 1 : 0;
  if (!effect) {
    return;
  }
  record.apply(*effect);
  sawClientInstalled = sawClientInstalled || effect->event == Event::clientInstalled;
  effects.push_back({time, effect->bar == Bar::percentage});
  if (effect->bar == Bar::percentage) {
    download = lastLine.first(lastLine.indexOf(u':'));
    percentage = percentageOf(bytes);
    barIsBusy = false;
  } else if (effect->bar == Bar::busy) {
    barIsBusy = true;
  }
}

QStringList findingsAboutLine(std::string_view bytes, const std::optional<LineEffect> &effect,
                              const RunNotes &before) {
  const QString line = decodedUtf8(bytes);
  QStringList findings;
  if (effect) {
    findings += aboutEffect(bytes, *effect, before);
  } else if (!before.record.sawGameStart) {  // later lines are the game's
    findings += aboutUnknown(line, before.record.mode);
  }
  if (effect && line.contains(u'\x1b')) {
    findings += QStringLiteral("an escape sequence becomes a part of the text: print no colours");
  }
  if (line.contains(u'\r')) {
    findings += QStringLiteral("a carriage return does not end a line: print line feeds");
  }
  if (line.contains(QChar::ReplacementCharacter) || line.contains(u"UnicodeEncodeError")) {
    findings += QStringLiteral(
        "not UTF-8, which the launcher expects in every locale: begin with "
        "sys.stdout.reconfigure(encoding=\"utf-8\")");
  }
  findings.removeAll(QString());
  return findings;
}

QStringList findingsAboutInstalled(QStringView line, const Expected<std::string> &file) {
  const auto installed = file ? parseInstalledMetadata(*file) : Unexpected{file.reason()};
  if (!installed) {
    return {u"current.json: " + installed.reason() + u": write it before this line"};
  }
  QStringList findings;
  if (!line.contains(installed->release)) {
    findings += u"current.json says that " + quoted(installed->release) +
                u" is installed: write it before this line";
  }
  if (!installed->world && parseObject(*file)->contains("worldVersion")) {
    findings += QStringLiteral("“worldVersion” in current.json does not have the form N.N.N.HASH");
  }
  return findings;
}

QStringList findingsAboutRun(const RunNotes &run) {
  QStringList findings;
  for (const auto &rule : rules) {
    findings += rule(run);
  }
  findings.removeAll(QString());
  return findings;
}

}  // namespace tarvex
