// The updater's report at the end of a check, one line:
//
//   UPDATE_CHECK launcher=VALUE client=VALUE [world=VALUE]
//
// docs/updater-protocol.md lists the values. A plain function over values, for any thread.
#pragma once

#include <QString>
#include <QStringView>
#include <optional>

namespace tarvex {

// The versions that can be installed. Both absent: everything is up to date.
struct CheckOutcome {
  std::optional<QString> launcherVersion;
  std::optional<QString> clientRelease;

  bool updateAvailable() const { return launcherVersion || clientRelease; }
  bool operator==(const CheckOutcome &) const = default;
};

// Absent when the line deviates from the form in any way.
std::optional<CheckOutcome> parseCheck(QStringView line);

}  // namespace tarvex
