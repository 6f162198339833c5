// The updater's report on what it found:
//
//   UPDATE_CHECK launcher=VALUE client=VALUE [world=VALUE]
#pragma once

#include <QString>
#include <QStringView>
#include <optional>

namespace tarvex {

// What can be installed. Both absent: nothing to update.
struct CheckOutcome {
  std::optional<QString> launcherVersion;
  std::optional<QString> clientRelease;

  bool updateAvailable() const { return launcherVersion || clientRelease; }
  bool operator==(const CheckOutcome &) const = default;
};

// Nothing when the line departs from the form in any way.
std::optional<CheckOutcome> parseCheck(QStringView line);

}  // namespace tarvex
