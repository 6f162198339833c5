// The metadata of the game client that is installed for a region (its current.json), and the texts
// that show it. The updater writes the file; the launcher only reads it. Plain functions over
// values, for any thread. A file without valid metadata counts as "not installed".
#pragma once

#include <QString>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/expected.h"

namespace tarvex {

struct InstalledMetadata {
  QString release;               // any text
  QString revision;              // of the source; any text
  std::optional<QString> world;  // has worldVersionForm (text/identifiers.h)
};

// The bytes must be a JSON object (RFC 8259, UTF-8) whose "releaseId" and "sourceRevision" are
// strings. A "worldVersion" without worldVersionForm is left out.
Expected<InstalledMetadata> parseInstalledMetadata(std::string_view json);

inline constexpr std::size_t largestMetadata = 4'194'304;  // bytes

// Reads the file anew on each call. Fails for a file that cannot be read or is larger than
// largestMetadata.
Expected<InstalledMetadata> readInstalledMetadata(const std::filesystem::path &file);

// The window's last line: the versions of the launcher and of the game. A launcher without a
// version is "unpackaged".
QString footerText(const std::optional<QString> &launcherVersion,
                   const std::optional<InstalledMetadata> &installed);

// The line below the status, "PREFIX RELEASE  •  source REVISION", and its tooltip. The line has
// the first eight characters of the revision, the tooltip has all.
QString installedVersionText(const QString &prefix, const InstalledMetadata &installed);
QString installedVersionToolTip(const InstalledMetadata &installed);

}  // namespace tarvex
