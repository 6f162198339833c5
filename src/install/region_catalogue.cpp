#include "install/region_catalogue.h"

#include <QSet>
#include <algorithm>

#include "install/json.h"
#include "text/identifiers.h"

namespace tarvex {
namespace {

// JSON has one kind of number: 3.0 is 3.
bool isKnownSchema(const Json &version) {
  return version.is_number() && (version.get<double>() == 2 || version.get<double>() == 3);
}

bool areValid(const std::vector<Region> &regions) {
  QSet<QString> seen;
  return !regions.empty() && std::all_of(regions.begin(), regions.end(), [&](const Region &region) {
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
  if (schema == object->end() || !isKnownSchema(*schema) || !defaultRegion ||
      list == object->end() || !list->is_array()) {
    return std::nullopt;
  }
  Regions catalogue{*defaultRegion, {}};
  for (const Json &entry : *list) {
    const auto id = stringMember(entry, "id");
    const auto name = stringMember(entry, "name");
    if (!id || !name) {
      return std::nullopt;
    }
    catalogue.regions.push_back({*id, *name});
  }
  if (!areValid(catalogue.regions)) {
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
