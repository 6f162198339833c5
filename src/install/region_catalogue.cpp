#include "install/region_catalogue.h"

#include <QSet>
#include <algorithm>

#include "install/json.h"
#include "platform/durable_file.h"
#include "text/identifiers.h"

namespace tarvex {
namespace {

// JSON has only one type of number, so 3.0 is equal to 3.
bool isKnownSchema(const Json &version) {
  return version.is_number() && (version.get<double>() == 2 || version.get<double>() == 3);
}

// Escaped as JSON: the id may contain line feeds, and a reason is one line.
QString shown(const QString &text) {
  constexpr int oneLine = -1;
  constexpr bool asciiOnly = true;
  return QString::fromStdString(nlohmann::json(text.toStdString()).dump(oneLine, ' ', asciiOnly));
}

Expected<Region> parseRegion(const Json &entry) {
  const auto id = stringMember(entry, "id");
  const auto name = stringMember(entry, "name");
  if (!id || !name) {
    return Unexpected{QStringLiteral("“id” or “name” is missing, or not a text")};
  }
  if (!hasForm(*id, regionIdForm)) {
    return Unexpected{
        u"the id " + shown(*id) +
        u" is not a lower-case letter and up to 31 lower-case letters, digits and hyphens"};
  }
  return Region{*id, *name};
}

}  // namespace

Expected<Regions> parseRegions(std::string_view json) {
  const auto object = parseObject(json);
  if (!object) {
    return Unexpected{object.reason()};
  }
  const auto schema = object->find("schemaVersion");
  if (schema == object->end() || !isKnownSchema(*schema)) {
    return Unexpected{QStringLiteral("“schemaVersion” is missing, or not 2 or 3")};
  }
  const auto defaultRegion = stringMember(*object, "defaultRegion");
  if (!defaultRegion) {
    return Unexpected{QStringLiteral("“defaultRegion” is missing, or not a text")};
  }
  const auto list = object->find("regions");
  if (list == object->end() || !list->is_array() || list->empty()) {
    return Unexpected{QStringLiteral("“regions” is missing, or not a list with a region")};
  }
  Regions catalogue{*defaultRegion, {}};
  QSet<QString> ids;
  for (const Json &entry : *list) {
    const auto region = parseRegion(entry);
    if (!region) {
      return Unexpected{u"region " + QString::number(catalogue.regions.size() + 1) + u": " +
                        region.reason()};
    }
    if (ids.contains(region->id)) {
      return Unexpected{u"the id “" + region->id + u"” is there twice"};
    }
    ids.insert(region->id);
    catalogue.regions.push_back(*region);
  }
  return catalogue;
}

Expected<Regions> readRegions(const std::filesystem::path &file) {
  const Expected<std::string> bytes = readFile(file, largestCatalogue);
  return bytes ? parseRegions(*bytes) : Unexpected{bytes.reason()};
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
