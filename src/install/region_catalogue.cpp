#include "install/region_catalogue.h"

#include <QSet>
#include <algorithm>
#include <cmath>

#include "install/json.h"
#include "platform/identifiers.h"

namespace tarvex {
namespace {

constexpr qint64 oldestSchema = 2;
constexpr qint64 newestSchema = 3;

// JSON has one kind of number: 3.0 is a whole one. 0 for those that are not; no schema is 0.
qint64 wholeNumber(const nlohmann::json &number) {
  const double value = number.get<double>();
  return value >= oldestSchema && value <= newestSchema && value == std::floor(value)
             ? static_cast<qint64>(value)
             : 0;
}

bool isValid(const Regions &catalogue) {
  if (catalogue.schemaVersion < oldestSchema || catalogue.schemaVersion > newestSchema ||
      catalogue.regions.empty()) {
    return false;
  }
  QSet<QString> seen;
  return std::all_of(catalogue.regions.begin(), catalogue.regions.end(), [&](const Region &region) {
    const bool isNew = !seen.contains(region.id);
    seen.insert(region.id);
    return isNew && hasForm(region.id, regionIdForm);
  });
}

}  // namespace

std::optional<Regions> parseRegions(std::string_view json) {
  const auto object = parseObject(json);
  if (!object) {
    return std::nullopt;
  }
  const auto schema = object->find("schemaVersion");
  const auto defaultRegion = stringMember(*object, "defaultRegion");
  const auto list = object->find("regions");
  if (schema == object->end() || !schema->is_number() || !defaultRegion || list == object->end() ||
      !list->is_array()) {
    return std::nullopt;
  }
  Regions catalogue{wholeNumber(*schema), *defaultRegion, {}};
  for (const nlohmann::json &entry : *list) {
    const auto id = stringMember(entry, "id");
    const auto name = stringMember(entry, "name");
    if (!id || !name) {
      return std::nullopt;
    }
    catalogue.regions.push_back({*id, *name});
  }
  if (!isValid(catalogue)) {
    return std::nullopt;
  }
  return catalogue;
}

std::optional<std::size_t> initialRegion(const std::vector<Region> &regions,
                                         const std::vector<std::optional<QString>> &candidates) {
  for (const std::optional<QString> &candidate : candidates) {
    const auto found = std::find_if(regions.begin(), regions.end(),
                                    [&](const Region &region) { return candidate == region.id; });
    if (found != regions.end()) {
      return static_cast<std::size_t>(found - regions.begin());
    }
  }
  return std::nullopt;
}

}  // namespace tarvex
