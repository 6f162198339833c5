// Settings that the launcher remembers for this user, in QSettings' native store (on Linux a file
// below $XDG_CONFIG_HOME). Main thread; needs the names of the application object. Failures are not
// reported: a store that cannot be read is empty, and one that cannot be written stays unchanged.
// Neither call waits for a lock or for the writer of a pipe.
#pragma once

#include <QString>
#include <optional>

namespace tarvex {

std::optional<QString> userSetting(const QString &key);  // also absent when it is not a string
void setUserSetting(const QString &key, const QString &text);

}  // namespace tarvex
