#include "install/installed_metadata.h"

#include "install/json.h"
#include "platform/durable_file.h"
#include "text/identifiers.h"
#include "text/unicode_text.h"

namespace tarvex {

Expected<InstalledMetadata> parseInstalledMetadata(std::string_view json) {
  const auto object = parseObject(json);
  if (!object) {
    return Unexpected{object.reason()};
  }
  const auto release = stringMember(*object, "releaseId");
  const auto revision = stringMember(*object, "sourceRevision");
  if (!release || !revision) {
    return Unexpected{QStringLiteral("“releaseId” and “sourceRevision” are not both texts")};
  }
  InstalledMetadata installed{*release, *revision, stringMember(*object, "worldVersion")};
  // A bad world version does not make the rest invalid.
  if (installed.world && !hasForm(*installed.world, worldVersionForm)) {
    installed.world.reset();
  }
  return installed;
}

Expected<InstalledMetadata> readInstalledMetadata(const std::filesystem::path &file) {
  const Expected<std::string> bytes = readFile(file, largestMetadata);
  return bytes ? parseInstalledMetadata(*bytes) : Unexpected{bytes.reason()};
}

QString footerText(const std::optional<QString> &launcherVersion,
                   const std::optional<InstalledMetadata> &installed) {
  const QString launcher =
      u"Launcher " + launcherVersion.value_or(QStringLiteral("unpackaged")) + u" · ";
  if (!installed) {
    return launcher + u"Game not installed";
  }
  if (!installed->world) {
    return launcher + u"Game " + installed->release;
  }
  return launcher + u"Game " + *installed->world + u" (" + installed->release + u')';
}

QString installedVersionText(const QString &prefix, const InstalledMetadata &installed) {
  constexpr int shownOfRevision = 8;
  return prefix + u' ' + installed.release + u"  •  source " +
         firstCharacters(installed.revision, shownOfRevision);
}

QString installedVersionToolTip(const InstalledMetadata &installed) {
  return u"Source revision " + installed.revision;
}

}  // namespace tarvex
