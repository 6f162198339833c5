#include "install/locations.h"

#include "text/identifiers.h"
#include "text/unicode_text.h"

namespace tarvex {

// The same path on every operating system: updaters rely on it.
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

Expected<QString> bundleVersion(const Bundle &bundle) {
  if (!bundle.noInformation.isEmpty()) {
    return Unexpected{bundle.noInformation};
  }
  const auto found = bundle.information.find("CFBundleVersion");
  const QString version =
      found != bundle.information.end() ? decodedUtf8(found->second) : QString();
  if (!hasForm(version, launcherVersionForm)) {
    return Unexpected{QStringLiteral("CFBundleVersion is missing, or not 16 of 0-9 and a-f")};
  }
  return version;
}

}  // namespace tarvex
