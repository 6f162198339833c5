// The catalogue of regions, launcher-config.json in the resource folder: a JSON object (RFC 8259,
// UTF-8) with "schemaVersion", "defaultRegion" and "regions". Other members belong to the updater.
// Plain functions over values, for any thread.
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
  QString id;    // has regionIdForm (text/identifiers.h); unique
  QString name;  // any text, for display only
};

struct Regions {
  QString defaultRegion;        // an id; there need not be a region with this id
  std::vector<Region> regions;  // at least one
};

// Bytes; far more than any real catalogue has. Limits the memory that a wrong file can take.
inline constexpr std::size_t largestCatalogue = 4'194'304;

// Fails when one rule is broken: a member is missing or has another type, the schema is not 2 or 3,
// there is no region, an id does not have regionIdForm or occurs twice. readRegions also fails when
// the file cannot be read or is too large.
Expected<Regions> parseRegions(std::string_view json);
Expected<Regions> readRegions(const std::filesystem::path &file);

// The index of the region to begin with: the first candidate that is the id of a region. Absent
// candidates are skipped. The result is absent when no candidate matches.
std::optional<std::size_t> initialRegion(const std::vector<Region> &regions,
                                         const std::vector<std::optional<QString>> &candidates);

}  // namespace tarvex
