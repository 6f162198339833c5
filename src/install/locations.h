// The places of the files that the launcher shares with the updater, and the launcher's own place
// and version. These paths are defined only here. Plain functions over values, for any thread; they
// do not read the disk.
#pragma once

#include <QString>
#include <filesystem>
#include <optional>

#include "platform/bundle.h"
#include "platform/expected.h"

namespace tarvex {

// In the resource folder: the updater and its configuration, which contains the catalogue of
// regions.
inline constexpr char updaterScript[] = "client_updater.py";
inline constexpr char updaterConfiguration[] = "launcher-config.json";

// The player's folder for everything that belongs to the game. It need not exist.
std::filesystem::path supportFolder(const std::filesystem::path &home);

// The path of an application bundle, whose extension must be exactly ".app"; otherwise absent.
std::optional<std::filesystem::path> applicationBundle(const Bundle &bundle);

// The place to which an update of the launcher moves the bundle that it replaces.
std::filesystem::path retiredBundle(const std::filesystem::path &bundle);

// The current.json of a region. Without a region, that of "production".
std::filesystem::path currentMetadata(const std::filesystem::path &supportFolder,
                                      const std::optional<QString> &regionId);

// The launcher's version. Fails when the bundle has no version, or one without launcherVersionForm.
Expected<QString> bundleVersion(const Bundle &bundle);

}  // namespace tarvex
