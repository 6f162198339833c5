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

constexpr std::size_t largest = 1'048'576;  // bytes

// The path that QSettings uses. A QSettings object would know it, but would also read the file at
// once.
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
  if (userSetting(key) == text) {  // a write waits for the disk
    return;
  }
  std::filesystem::path file = settingsFile();
  if (createPrivateFolders(file.parent_path())) {
    createPrivateFile(file);
  }
  std::error_code error;
  file = std::filesystem::canonical(file, error);  // a symbolic link must stay a link
  const auto before = readFile(file, largest);
  if (!before || !DurableFile::open(file)) {  // rename would replace a write-protected file
    return;
  }
  // Before writing, QSettings waits for a lock on the file, without limit. So it writes a private
  // copy, whose lock is free. When two launchers write at once, the later one wins.
  replaceByPrivateFile(file, [&](const std::filesystem::path &copy) {
    if (!(std::ofstream(copy, std::ios::binary) << *before).flush()) {
      return false;
    }
    QSettings settings = settingsIn(copy);
    settings.setValue(key, text);
    settings.sync();
    // A format error comes from the old content, which is replaced now.
    return settings.status() != QSettings::AccessError;
  });
}

}  // namespace tarvex
