// A value, or in words the reason why there is none: what std::expected of C++23 is, as far as it
// is needed. The reason is for the operator; it is one line, without the name of the file.
#pragma once

#include <QString>
#include <optional>
#include <utility>

namespace tarvex {

struct Unexpected {
  QString reason;
};

template <typename Value>
class Expected {
 public:
  Expected(Value value) : m_value(std::move(value)) {}
  Expected(Unexpected none) : m_reason(std::move(none.reason)) {}

  explicit operator bool() const { return m_value.has_value(); }
  Value &operator*() { return *m_value; }
  const Value &operator*() const { return *m_value; }
  const Value *operator->() const { return &*m_value; }
  const std::optional<Value> &optional() const { return m_value; }
  const QString &reason() const { return m_reason; }

 private:
  std::optional<Value> m_value;
  QString m_reason;
};

}  // namespace tarvex
