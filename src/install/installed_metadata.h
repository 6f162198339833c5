// What is installed of the game client for a region, as its current.json tells, and the texts that
// show it. The updater writes the file; the launcher only reads it.
#pragma once

#include <QString>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string_view>

#include "platform/expected.h"

namespace tarvex {

struct InstalledMetadata {
  QString release;
  QString revision;
  std::optional<QString> world;
};

// The bytes must be a JSON object (UTF-8) whose "releaseId" and "sourceRevision" are strings. A
// "worldVersion" that is not of its form is left out.
Expected<InstalledMetadata> parseInstalledMetadata(std::string_view json);

inline constexpr std::size_t largestMetadata = 4'194'304;

// Reads the file anew on each call. It must have at most largestMetadata bytes.
Expected<InstalledMetadata> readInstalledMetadata(const std::filesystem::path &file);

QString footerText(const std::optional<QString> &launcherVersion,
                   const std::optional<InstalledMetadata> &installed);

QString installedVersionText(const QString &prefix, const InstalledMetadata &installed);
QString installedVersionToolTip(const InstalledMetadata &installed);

}  // namespace tarvex
