// JSON as RFC 8259 has it, and nothing more lenient.
#pragma once

#include <QString>
#include <algorithm>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>

#include "platform/expected.h"

namespace tarvex {

// A number that is no 64-bit integer, as strtod writes it, which makes one that no double holds
// infinite. The parser refuses what is infinite, but JSON sets no limit to numbers; so this one
// reads as the largest double then.
struct JsonNumber {
  double value;

  JsonNumber() = default;
  JsonNumber(double number) : value(number) {}
  operator double &() { return value; }
  operator double() const {
    constexpr double largest = std::numeric_limits<double>::max();
    return std::clamp(value, -largest, largest);
  }
};

using Json = nlohmann::basic_json<std::map, std::vector, std::string, bool, std::int64_t,
                                  std::uint64_t, JsonNumber>;

inline void to_json(Json &json, JsonNumber number) {  // called by the parser
  json = Json::value_t::number_float;
  json.get_ref<JsonNumber &>() = number;
}

// The object at the top level, unless the text (UTF-8) is not JSON or is something else. Takes up
// to 80 times the text's memory, however deep it is nested.
Expected<Json> parseObject(std::string_view text);

// The string of that name in an object, or nothing for any other value, and for one that is no
// object.
std::optional<QString> stringMember(const Json &object, const char *name);

}  // namespace tarvex
