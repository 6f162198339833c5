#include "line_report.h"

#include <QStringList>
#include <algorithm>

#include "text/unicode_text.h"

namespace tarvex {
namespace {

using Bar = LineEffect::Bar;
using Event = LineEffect::Event;

QString quoted(QStringView text) {
  return u'“' + printable(text) + u'”';
}

// Letters and digits alone, in lower case: what is left of a text that was not copied exactly.
QString gist(QStringView text) {
  QString result;
  std::copy_if(text.begin(), text.end(), std::back_inserter(result),
               [](QChar character) { return character.isLetterOrNumber(); });
  return result.toLower();
}

// A single word, such as "Client ", is too common to be a sign by itself.
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

std::vector<QString> warningsAboutUnknown(QStringView line, Mode mode) {
  for (const LineForm &form : lineForms()) {
    if ((form.inCheck || mode != Mode::check) && resembles(line, form)) {
      const QString pattern = form.beginning + (form.isWhole ? u"" : u"*") + form.end;
      return {u"not recognised, but resembles “" + pattern + u"”: " + differenceFrom(form, line)};
    }
  }
  return {};
}

std::vector<QString> warningsAboutPercentage(QStringView line, double percentage) {
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
    return {QStringLiteral("a numeric character other than 0 to 9 makes the percentage 0")};
  }
  if (numbers == 0) {
    return {QStringLiteral("no number, so the percentage is 0")};
  }
  if (numbers > 1) {
    return {u"the digits of all numbers of the line run together to " + shown};
  }
  if (percentage > 100) {
    return {u"more than 100: the bar stands at its end, and the status shows " + shown + u'%'};
  }
  return {};
}

struct Token {
  QStringView before;  // with these around it, a good token makes a good report
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

}  // namespace

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

QString describe(const LineEffect &effect) {
  QStringList parts;
  const auto offer = [](QStringView what, const std::optional<QString> &version) {
    return version ? QString(what + u' ' + *version) : QString(u"no " + what);
  };
  switch (effect.event) {
    case Event::checkReport:
      parts += !effect.checkOutcome
                   ? QStringLiteral("report rejected: no report counts until another one comes")
                   : u"report: offers " + offer(u"launcher", effect.checkOutcome->launcherVersion) +
                         u", " + offer(u"client", effect.checkOutcome->clientRelease);
      break;
    case Event::error:
      parts += u"kept as the explanation of a failure: " + quoted(effect.errorDetail);
      break;
    case Event::launcherInstalled:
      parts += QStringLiteral("the launcher will start again after this run");
      break;
    case Event::clientInstalled:
      parts += QStringLiteral("current.json is read");
      break;
    case Event::gameStarted:
      parts += QStringLiteral("the window hides after 0.25 s");
      break;
    case Event::none:
      break;
  }
  if (effect.status) {
    parts += u"status " + quoted(*effect.status);
  }
  if (effect.versionLine) {
    parts += u"version line " + quoted(*effect.versionLine);
  }
  switch (effect.bar) {
    case Bar::percentage:
      parts += u"bar at " + QString::number(effect.percentage);
      break;
    case Bar::busy:
      parts += QStringLiteral("bar busy");
      break;
    case Bar::full:
      parts += QStringLiteral("bar at 100");
      break;
    case Bar::unchanged:
      break;
  }
  return parts.join(u"; ");
}

std::vector<QString> warningsAbout(std::string_view bytes, Mode mode) {
  const std::optional<LineEffect> effect = interpretLine(bytes, mode, std::nullopt);
  const QString line = decodedUtf8(bytes);
  std::vector<QString> warnings;
  if (!effect) {
    warnings = warningsAboutUnknown(line, mode);
  } else if (effect->bar == Bar::percentage) {
    warnings = warningsAboutPercentage(line, percentageOf(bytes));
  } else if (effect->event == Event::checkReport && !effect->checkOutcome) {
    warnings.push_back(whyRejected(line));
  } else if (effect->event == Event::error && effect->errorDetail.isEmpty()) {
    warnings.push_back(QStringLiteral("without a text, the player gets an empty explanation"));
  }
  if (effect && effect->versionLine && effect->versionLine->contains(u"...")) {
    warnings.push_back(QStringLiteral("three full stops stay; the character “…” would be removed"));
  }
  if (effect && effect->event == Event::gameStarted && mode == Mode::update) {
    warnings.push_back(QStringLiteral("an update run starts no game, yet this hides the window"));
  }
  if (line.contains(u'\r')) {
    warnings.push_back(QStringLiteral("a carriage return does not end a line, a line feed does"));
  }
  if (line.contains(QChar::ReplacementCharacter)) {
    warnings.push_back(QStringLiteral("not UTF-8: each bad sequence became U+FFFD"));
  }
  return warnings;
}

}  // namespace tarvex
