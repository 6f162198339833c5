#include "updater/progress_lines.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string>

#include "platform/unicode_text.h"

namespace tarvex {
namespace {

constexpr QStringView ellipsis = u"…";
constexpr QStringView errorPrefix = u"Tarvex launcher error:";

using Bar = LineEffect::Bar;
using Event = LineEffect::Event;

struct Form {
  QStringView beginning;  // the line begins with this,
  QStringView end{};      // ends with this where that is not empty,
  bool isWhole = false;   // and has nothing else
  bool inCheck = false;   // whether the form counts in a check, too
  Bar bar = Bar::unchanged;
  QStringView status{};       // the text, or the one before a download's percentage
  QStringView versionLine{};  // the text, or what takes the beginning's place in the line
  Event event = Event::none;
};

// The first form that matches decides.
constexpr Form forms[] = {
    {.beginning = u"UPDATE_CHECK ", .inCheck = true, .event = Event::checkReport},
    {.beginning = errorPrefix, .inCheck = true, .event = Event::error},
    {.beginning = u"Downloading launcher:",
     .bar = Bar::percentage,
     .status = u"Downloading launcher — "},
    {.beginning = u"Updating launcher to ",
     .status = u"Updating the launcher…",
     .versionLine = u"Launcher "},
    {.beginning = u"Verifying and installing launcher…",
     .isWhole = true,
     .bar = Bar::busy,
     .status = u"Installing the launcher…"},
    {.beginning = u"Installed launcher ",
     .end = u"Restarting…",
     .status = u"Restarting the launcher…",
     .versionLine = u"The launcher was updated and is starting again.",
     .event = Event::launcherInstalled},
    {.beginning = u"Downloading client:",
     .bar = Bar::percentage,
     .status = u"Downloading update — "},
    {.beginning = u"Updating to client ",
     .status = u"Downloading the latest update…",
     .versionLine = u"Version "},
    {.beginning = u"Verifying and installing client…",
     .isWhole = true,
     .bar = Bar::busy,
     .status = u"Preparing your game…"},
    {.beginning = u"Installed client ",
     .status = u"Ready to play",
     .event = Event::clientInstalled},
    {.beginning = u"Client ",
     .end = u" is current.",
     .status = u"Ready to play",
     .event = Event::clientInstalled},
    {.beginning = u"Starting Tarvex…",
     .isWhole = true,
     .bar = Bar::full,
     .status = u"Launching ",
     .event = Event::gameStarted},
};

bool matches(const Form &form, QStringView line) {
  if (form.isWhole) {
    return line == form.beginning;
  }
  return beginsWith(line, form.beginning) && (form.end.isEmpty() || endsWith(line, form.end));
}

}  // namespace

LineEffect interpretLine(QStringView line, Mode mode, const std::optional<QString> &regionName) {
  LineEffect effect;
  const auto *const form = std::find_if(std::begin(forms), std::end(forms), [&](const Form &one) {
    return (one.inCheck || mode != Mode::check) && matches(one, line);
  });
  if (form == std::end(forms)) {
    return effect;
  }
  effect.bar = form->bar;
  effect.event = form->event;
  if (!form->status.isEmpty()) {
    effect.status = form->status.toString();
  }
  if (form->bar == Bar::percentage) {
    const double percentage = percentageOf(line);
    effect.percentage = std::min(percentage, 100.0);
    *effect.status += wholeNumber(percentage) + u'%';
  }
  if (form->event == Event::launcherInstalled) {
    effect.versionLine = form->versionLine.toString();
  } else if (!form->versionLine.isEmpty()) {
    effect.versionLine = replacedEverywhere(
        replacedEverywhere(line, form->beginning, form->versionLine), ellipsis, {});
  }
  switch (form->event) {
    case Event::checkReport:
      effect.checkOutcome = parseCheck(line);
      break;
    case Event::error:
      effect.errorDetail = trimmedOfSpaces(replacedEverywhere(line, errorPrefix, {})).toString();
      break;
    case Event::gameStarted:
      *effect.status += regionName.value_or(QStringLiteral("Tarvex")) + ellipsis;
      break;
    default:
      break;
  }
  return effect;
}

std::vector<LineForm> lineForms() {
  std::vector<LineForm> all;
  for (const Form &form : forms) {
    all.push_back({form.beginning, form.end, form.isWhole, form.inCheck});
  }
  return all;
}

double percentageOf(QStringView line) {
  std::string digits;
  bool foreign = false;
  forEachCharacter(line, [&](QStringView character) {
    if (isNumeric(character)) {
      const char16_t first = character.front().unicode();
      foreign = character.size() != 1 || first < u'0' || first > u'9';
      digits.push_back(static_cast<char>(first));
    }
    return !foreign;
  });
  if (foreign || digits.empty()) {
    return 0;
  }
  double number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  // The one way in which digits fail.
  return error == std::errc::result_out_of_range ? std::numeric_limits<double>::infinity() : number;
}

QString wholeNumber(double number) {
  constexpr qint64 largest = std::numeric_limits<qint64>::max();
  constexpr double beyondLargest = 9223372036854775808.0;  // 2 to the power of 63
  return QString::number(number < beyondLargest ? static_cast<qint64>(number) : largest);
}

}  // namespace tarvex
