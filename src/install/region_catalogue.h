// The catalogue of regions, launcher-config.json among the launcher's resources: a JSON object
// (UTF-8) with "schemaVersion", "defaultRegion" and "regions". Other members are the updater's.
#pragma once

#include <QString>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/expected.h"

namespace tarvex {

struct Region {
  QString id;
  QString name;  // any text, for display only
};

struct Regions {
  QString defaultRegion;  // need not name one of the regions
  std::vector<Region> regions;
};

// More bytes than any catalogue has; a larger file is not worth its memory.
inline constexpr std::size_t largestCatalogue = 4'194'304;

// The catalogue, unless a rule is broken: a member is missing or of another type, the schema is not
// 2 or 3, there is no region, an id is not of its form or occurs twice; or the file is too large.
Expected<Regions> parseRegions(std::string_view json);
Expected<Regions> readRegions(const std::filesystem::path &file);

// The index of the region to begin with: the first candidate that matches a region. Absent
// candidates are passed over; nothing when none matches.
std::optional<std::size_t> initialRegion(const std::vector<Region> &regions,
                                         const std::vector<std::optional<QString>> &candidates);

}  // namespace tarvex
