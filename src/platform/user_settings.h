// What the launcher remembers for this user from one start to the next, in the platform's native
// store (on Linux a file below $XDG_CONFIG_HOME). Main thread. A store that cannot be read holds
// nothing; one that cannot be written forgets, in silence. Nothing is waited for but the disk: no
// lock of another program's, and no other end of a pipe.
#pragma once

#include <QString>
#include <optional>

namespace tarvex {

std::optional<QString> userSetting(const QString &key);  // nothing also for what is not text
void setUserSetting(const QString &key, const QString &text);

}  // namespace tarvex
