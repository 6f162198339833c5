// Strict JSON (RFC 8259): comments, trailing commas and ill-formed UTF-8 are errors. Plain
// functions over values, for any thread; no exception leaves them.
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

// A number that is not a 64-bit integer. JSON has no limit for numbers, but the parser rejects a
// number that strtod makes infinite. This type stores it as the largest double instead.
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

// Called by the parser.
inline void to_json(Json &json, JsonNumber number) {
  json = Json::value_t::number_float;
  json.get_ref<JsonNumber &>() = number;
}

// The text (UTF-8) as a JSON object. Fails when it is not JSON, or another value. Takes up to 80
// times the text's memory, at any depth of nesting.
Expected<Json> parseObject(std::string_view text);

// The string member of that name. Absent when there is no such member, when it is not a string, and
// when `object` is not an object.
std::optional<QString> stringMember(const Json &object, const char *name);

}  // namespace tarvex
