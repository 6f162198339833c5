#include "install/region_catalogue.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSet>
#include <algorithm>

#include "platform/identifiers.h"

namespace tarvex {
namespace {

constexpr qint64 oldestSchema = 2;
constexpr qint64 newestSchema = 3;

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

std::optional<Regions> parseRegions(QByteArrayView json) {
  const QJsonObject object = QJsonDocument::fromJson(json.toByteArray()).object();
  const QJsonValue schema = object[u"schemaVersion"];
  const QJsonValue defaultRegion = object[u"defaultRegion"];
  const QJsonValue list = object[u"regions"];
  // 0 for all that is not a whole number, and no schema is 0.
  Regions catalogue{schema.toInteger(0), defaultRegion.toString(), {}};
  if (!defaultRegion.isString() || !list.isArray()) {
    return std::nullopt;
  }
  const QJsonArray entries = list.toArray();
  for (const QJsonValue entry : entries) {
    const QJsonValue id = entry[u"id"];
    const QJsonValue name = entry[u"name"];
    if (!id.isString() || !name.isString()) {
      return std::nullopt;
    }
    catalogue.regions.push_back({id.toString(), name.toString()});
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
