#include "updater/check_report.h"

#include <QList>
#include <algorithm>
#include <array>

#include "text/identifiers.h"

namespace tarvex {
namespace {

// The value of the token KEY=VALUE, or nothing for another key.
std::optional<QStringView> valueOf(QStringView token, QStringView key) {
  if (!token.startsWith(key)) {
    return std::nullopt;
  }
  return token.sliced(key.size());
}

// Whether the value is "available:" and a text of the form. Then that text goes to `offered`.
bool isAvailable(QStringView value, IdentifierForm form, std::optional<QString> &offered) {
  const std::optional<QStringView> text = valueOf(value, u"available:");
  if (!text || !hasForm(*text, form)) {
    return false;
  }
  offered = text->toString();
  return true;
}

bool isNoLauncherOffer(QStringView value) {
  static constexpr std::array words{u"current", u"unknown", u"unpackaged", u"unconfigured"};
  return std::any_of(words.begin(), words.end(),
                     [&](const char16_t *word) { return value == QStringView(word); });
}

}  // namespace

std::optional<CheckOutcome> parseCheck(QStringView line) {
  QList<QStringView> tokens = line.split(u' ', Qt::SkipEmptyParts);  // several spaces count as one
  if (tokens.size() == 4) {
    const std::optional<QStringView> world = valueOf(tokens.back(), u"world=");
    if (world && *world != u"unknown" && !hasForm(*world, worldVersionForm)) {
      return std::nullopt;
    }
    if (world) {
      tokens.removeLast();  // checked, but not used: the window shows the installed world
    }
  }
  if (tokens.size() != 3 || tokens[0] != u"UPDATE_CHECK") {
    return std::nullopt;
  }
  const std::optional<QStringView> launcher = valueOf(tokens[1], u"launcher=");
  const std::optional<QStringView> client = valueOf(tokens[2], u"client=");
  if (!launcher || !client) {
    return std::nullopt;
  }
  CheckOutcome outcome;
  const bool launcherIsKnown = isNoLauncherOffer(*launcher) ||
                               isAvailable(*launcher, launcherVersionForm, outcome.launcherVersion);
  const bool clientIsKnown =
      *client == u"current" || isAvailable(*client, clientReleaseForm, outcome.clientRelease);
  if (!launcherIsKnown || !clientIsKnown) {
    return std::nullopt;
  }
  return outcome;
}

}  // namespace tarvex
