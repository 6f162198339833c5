#include "platform/user_settings.h"

#include <QCoreApplication>
#include <QSettings>
#include <QStandardPaths>
#include <QVariant>
#include <cstddef>
#include <fstream>
#include <string>
#include <system_error>

#include "platform/durable_file.h"

namespace tarvex {
namespace {

constexpr std::size_t largest = 1'048'576;

// QSettings' own place for it. A QSettings that is asked for the place reads the file at once.
std::filesystem::path settingsFile() {
  const QString folder = QStandardPaths::writableLocation(QStandardPaths::GenericConfigLocation);
  const QString file = folder + u'/' + QCoreApplication::organizationName() + u'/' +
                       QCoreApplication::applicationName() + u".conf";
  return file.toStdString();
}

QSettings settingsIn(const std::filesystem::path &file) {
  return {QString::fromStdString(file), QSettings::NativeFormat};
}

}  // namespace

std::optional<QString> userSetting(const QString &key) {
  const std::filesystem::path file = settingsFile();
  if (!readFile(file, largest)) {  // QSettings would wait for the writer of a named pipe
    return std::nullopt;
  }
  const QVariant value = settingsIn(file).value(key);
  if (value.typeId() != QMetaType::QString) {
    return std::nullopt;
  }
  return value.toString();
}

void setUserSetting(const QString &key, const QString &text) {
  if (userSetting(key) == text) {  // a write goes to the disk and waits for it
    return;
  }
  std::filesystem::path file = settingsFile();
  if (createPrivateFolders(file.parent_path())) {
    createPrivateFile(file);
  }
  std::error_code error;
  file = std::filesystem::canonical(file, error);  // a link stays one
  const auto before = readFile(file, largest);
  if (!before || !DurableFile::open(file)) {  // a file that nobody may write is meant to stay
    return;
  }
  // To write, QSettings locks the file, and waits for a lock that is held. Nobody else knows the
  // copy, so its lock is free. Of two launchers that write at once, the later one is remembered.
  replaceByPrivateFile(file, [&](const std::filesystem::path &copy) {
    if (!(std::ofstream(copy, std::ios::binary) << *before).flush()) {
      return false;
    }
    QSettings settings = settingsIn(copy);
    settings.setValue(key, text);
    settings.sync();
    return settings.status() != QSettings::AccessError;
  });
}

}  // namespace tarvex
