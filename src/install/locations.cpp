#include "install/locations.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <system_error>

#include "platform/identifiers.h"
#include "platform/unicode_text.h"

namespace tarvex {

bool isReadable(const std::filesystem::path &path) {
  return ::access(path.c_str(), R_OK) == 0;
}

std::filesystem::path homeFolder() {
  const char *home = std::getenv("HOME");
  if (home != nullptr && *home != '\0') {
    std::error_code error;
    return std::filesystem::absolute(home, error);
  }
  const passwd *entry = ::getpwuid(::getuid());
  return entry != nullptr ? entry->pw_dir : "/";
}

std::filesystem::path supportFolder(const std::filesystem::path &home) {
  return home / "Library/Application Support/Tarvex";
}

std::optional<std::filesystem::path> applicationBundle(const Bundle &bundle) {
  if (bundle.path.extension() != ".app") {
    return std::nullopt;
  }
  return bundle.path;
}

std::filesystem::path retiredBundle(const std::filesystem::path &bundle) {
  return bundle.native() + ".old";
}

std::filesystem::path currentMetadata(const std::filesystem::path &supportFolder,
                                      const std::optional<QString> &regionId) {
  return supportFolder / "client/regions" /
         regionId.value_or(QStringLiteral("production")).toStdString() / "current.json";
}

std::optional<QString> bundleVersion(const Bundle &bundle) {
  const auto found = bundle.information.find("CFBundleVersion");
  if (found == bundle.information.end()) {
    return std::nullopt;
  }
  const QString version = decodedUtf8(found->second);
  if (!hasForm(version, launcherVersionForm)) {
    return std::nullopt;
  }
  return version;
}

}  // namespace tarvex
