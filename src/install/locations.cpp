#include "install/locations.h"

#include "text/identifiers.h"
#include "text/unicode_text.h"

namespace tarvex {

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
