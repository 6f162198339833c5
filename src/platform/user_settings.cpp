#include "platform/user_settings.h"

#include <QSettings>
#include <QVariant>

#include "platform/durable_file.h"

namespace tarvex {

std::optional<QString> userSetting(const QString &key) {
  const QVariant value = QSettings().value(key);
  if (value.typeId() != QMetaType::QString) {
    return std::nullopt;
  }
  return value.toString();
}

void setUserSetting(const QString &key, const QString &text) {
  if (userSetting(key) == text) {  // a write goes to the disk and waits for it
    return;
  }
  QSettings settings;
  // The toolkit leaves who may read and write the file to the umask, but keeps the mode of one that
  // is there already.
  const std::filesystem::path file = settings.fileName().toStdString();
  if (createPrivateFolders(file.parent_path())) {
    createPrivateFile(file);
  }
  settings.setValue(key, text);
}

}  // namespace tarvex
