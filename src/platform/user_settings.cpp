#include "platform/user_settings.h"

#include <QSettings>
#include <QVariant>

namespace tarvex {

std::optional<QString> userSetting(const QString &key) {
  const QVariant value = QSettings().value(key);
  if (value.typeId() != QMetaType::QString) {
    return std::nullopt;
  }
  return value.toString();
}

void setUserSetting(const QString &key, const QString &text) {
  if (userSetting(key) != text) {  // a write goes to the disk and waits for it
    QSettings().setValue(key, text);
  }
}

}  // namespace tarvex
