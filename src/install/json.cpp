#include "install/json.h"

#include <utility>

namespace tarvex {

std::optional<Json> parseObject(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {  // which the parser takes for the end
    return std::nullopt;
  }
  constexpr bool throws = false;
  Json value = Json::parse(text, nullptr, throws);
  if (!value.is_object()) {
    return std::nullopt;
  }
  return std::make_optional(std::move(value));
}

std::optional<QString> stringMember(const Json &object, const char *name) {
  const auto member = object.find(name);
  if (member == object.end() || !member->is_string()) {
    return std::nullopt;
  }
  return QString::fromStdString(member->get_ref<const std::string &>());
}

}  // namespace tarvex
