// JSON as RFC 8259 has it, and nothing more lenient.
#pragma once

#include <QString>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

namespace tarvex {

// The object at the top level, or nothing when the text (UTF-8) is not JSON, or is something else.
std::optional<nlohmann::json> parseObject(std::string_view text);

// The string of that name in an object, or nothing for any other value, and for one that is no
// object.
std::optional<QString> stringMember(const nlohmann::json &object, const char *name);

}  // namespace tarvex
