// Where things lie that the launcher shares with others, and what it is itself.
#pragma once

#include <QString>
#include <filesystem>
#include <optional>

#include "platform/bundle.h"
#include "platform/expected.h"

namespace tarvex {

// Among the launcher's resources: the updater, and the catalogue of regions, which is the updater's
// configuration, too.
inline constexpr char updaterScript[] = "client_updater.py";
inline constexpr char updaterConfiguration[] = "launcher-config.json";

// The player's folder for all that belongs to the game. Whoever writes to it creates it.
std::filesystem::path supportFolder(const std::filesystem::path &home);

// The bundle's place, when it is an application bundle: when its extension is "app", to the letter.
std::optional<std::filesystem::path> applicationBundle(const Bundle &bundle);

// Where an update of the launcher leaves the bundle that it replaced.
std::filesystem::path retiredBundle(const std::filesystem::path &bundle);

// What is installed of the game client for a region; for none, of the region "production".
std::filesystem::path currentMetadata(const std::filesystem::path &supportFolder,
                                      const std::optional<QString> &regionId);

// The bundle's version, unless it has none of the launcher's form.
Expected<QString> bundleVersion(const Bundle &bundle);

}  // namespace tarvex
