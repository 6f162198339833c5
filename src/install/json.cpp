#include "install/json.h"

#include "text/unicode_text.h"

namespace tarvex {

Expected<Json> parseObject(std::string_view text) {
  if (text.find('\0') != std::string_view::npos) {  // the parser would stop there
    return Unexpected{QStringLiteral("not JSON: it has a NUL byte")};
  }
  // The library describes an error only in an exception.
  try {
    Json value = Json::parse(text);
    if (value.is_object()) {
      return value;
    }
  } catch (const Json::exception &error) {
    constexpr qsizetype readable = 300;  // the message may quote a whole unfinished string
    const QString reason = decodedUtf8(error.what());  // "[json.exception.…] the reason"
    return Unexpected{u"not JSON: " + reason.mid(reason.indexOf(u' ') + 1, readable)};
  }
  return Unexpected{QStringLiteral("not a JSON object")};
}

std::optional<QString> stringMember(const Json &object, const char *name) {
  const auto member = object.find(name);
  if (member == object.end() || !member->is_string()) {
    return std::nullopt;
  }
  return QString::fromStdString(member->get_ref<const std::string &>());
}

}  // namespace tarvex
