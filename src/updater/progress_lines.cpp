#include "updater/progress_lines.h"

#include <QStringBuilder>
#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string>

#include "text/unicode_text.h"

namespace tarvex {
namespace {

using Bar = LineEffect::Bar;
using Event = LineEffect::Event;

// A row of the vocabulary. An empty text has no effect.
struct Form {
  std::string_view beginning;  // the line begins with this
  std::string_view end{};      // and ends with this
  bool isWhole = false;        // the line is exactly `beginning`
  bool inCheck = false;        // has its effect in the mode check, too
  Bar bar = Bar::unchanged;
  QStringView status{};         // a percentage or the region's name may be appended
  QStringView versionLine{};    // shown below the status
  QStringView versionPrefix{};  // or shown there: the line with this in place of `beginning`
  Event event = Event::none;
};

// The first row that matches decides.
constexpr Form forms[] = {
    {.beginning = "UPDATE_CHECK ", .inCheck = true, .event = Event::checkReport},
    {.beginning = "Tarvex launcher error:", .inCheck = true, .event = Event::error},
    {.beginning = "Downloading launcher:",
     .bar = Bar::percentage,
     .status = u"Downloading launcher — "},
    {.beginning = "Updating launcher to ",
     .status = u"Updating the launcher…",
     .versionPrefix = u"Launcher "},
    {.beginning = "Verifying and installing launcher…",
     .isWhole = true,
     .bar = Bar::busy,
     .status = u"Installing the launcher…"},
    {.beginning = "Installed launcher ",
     .end = "Restarting…",
     .status = u"Restarting the launcher…",
     .versionLine = u"The launcher was updated and is starting again.",
     .event = Event::launcherInstalled},
    {.beginning = "Downloading client:",
     .bar = Bar::percentage,
     .status = u"Downloading update — "},
    {.beginning = "Updating to client ",
     .status = u"Downloading the latest update…",
     .versionPrefix = u"Version "},
    {.beginning = "Verifying and installing client…",
     .isWhole = true,
     .bar = Bar::busy,
     .status = u"Preparing your game…"},
    {.beginning = "Installed client ", .status = u"Ready to play", .event = Event::clientInstalled},
    {.beginning = "Client ",
     .end = " is current.",
     .status = u"Ready to play",
     .event = Event::clientInstalled},
    {.beginning = "Starting Tarvex…",
     .isWhole = true,
     .bar = Bar::full,
     .status = u"Launching ",
     .event = Event::gameStarted},
};

bool matches(const Form &form, std::string_view line) {
  if (line.front() != form.beginning.front()) {  // fast path: most lines match no row
    return false;
  }
  return form.isWhole ? line == form.beginning
                      : beginsWith(line, form.beginning) && endsWith(line, form.end);
}

// The fast path of percentageOf: nearly every line is ASCII with few digits. Absent for others.
std::optional<double> numberInPlainLine(std::string_view line) {
  constexpr int mostDigits = 15;  // a double represents all such numbers exactly
  std::uint64_t number = 0;
  int digits = 0;
  for (const char character : line) {
    if (character >= '0' && character <= '9') {
      number = 10 * number + static_cast<std::uint64_t>(character - '0');
      ++digits;
    }
  }
  if (digits > mostDigits || !isAscii(line)) {
    return std::nullopt;
  }
  return static_cast<double>(number);
}

}  // namespace

std::optional<LineEffect> interpretLine(std::string_view line, Mode mode,
                                        std::optional<QStringView> regionName) {
  const auto *const form = std::find_if(std::begin(forms), std::end(forms), [&](const Form &one) {
    return (one.inCheck || mode != Mode::check) && matches(one, line);
  });
  if (form == std::end(forms)) {
    return std::nullopt;
  }
  // Replaces every occurrence: an error line that quotes another one contains the text twice.
  const auto withBeginningAs = [&](QStringView replacement) {
    return replacedEverywhere(decodedUtf8(line), decodedUtf8(form->beginning), replacement);
  };
  LineEffect effect;
  effect.bar = form->bar;
  effect.event = form->event;
  if (form->bar == Bar::percentage) {
    const double percentage = percentageOf(line);
    effect.percentage = std::min(percentage, 100.0);
    effect.status = form->status % wholeNumber(percentage) % u'%';
  } else if (!form->status.isEmpty()) {
    effect.status = form->status.toString();
  }
  if (!form->versionLine.isEmpty()) {
    effect.versionLine = form->versionLine.toString();
  } else if (!form->versionPrefix.isEmpty()) {
    effect.versionLine = replacedEverywhere(withBeginningAs(form->versionPrefix), ellipsis, {});
  }
  switch (form->event) {
    case Event::checkReport:
      effect.checkOutcome = parseCheck(decodedUtf8(line));
      break;
    case Event::error:
      effect.errorDetail = trimmedOfSpaces(withBeginningAs({})).toString();
      break;
    case Event::gameStarted:
      effect.status = form->status % regionName.value_or(u"Tarvex") % ellipsis;
      break;
    case Event::none:
    case Event::launcherInstalled:
    case Event::clientInstalled:
      break;
  }
  return effect;
}

std::vector<LineForm> lineForms() {
  std::vector<LineForm> all;
  for (const Form &form : forms) {
    all.push_back({decodedUtf8(form.beginning), decodedUtf8(form.end), form.isWhole, form.inCheck});
  }
  return all;
}

double percentageOf(std::string_view line) {
  if (const auto number = numberInPlainLine(line)) {
    return *number;
  }
  std::string digits;
  bool foreign = false;
  if (isAscii(line)) {
    std::copy_if(line.begin(), line.end(), std::back_inserter(digits),
                 [](char character) { return character >= '0' && character <= '9'; });
  } else {
    forEachCharacter(decodedUtf8(line), [&](QStringView character) {
      if (isNumeric(character)) {
        const char16_t first = character.front().unicode();
        foreign = character.size() != 1 || first < u'0' || first > u'9';
        digits.push_back(static_cast<char>(first));  // unused when foreign
      }
      return !foreign;
    });
  }
  if (foreign || digits.empty()) {
    return 0;
  }
  double number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  // With digits alone, this is the only possible error.
  return error == std::errc::result_out_of_range ? std::numeric_limits<double>::infinity() : number;
}

QString wholeNumber(double number) {
  constexpr qint64 largest = std::numeric_limits<qint64>::max();
  // 2 to the power of 63. A double cannot represent `largest` itself.
  constexpr double beyondLargest = 9223372036854775808.0;
  return QString::number(number < beyondLargest ? static_cast<qint64>(number) : largest);
}

}  // namespace tarvex
