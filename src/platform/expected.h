// A value, or the reason why there is none: the needed part of C++23's std::expected. The reason is
// one line for the operator, without the name of the file.
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
  // Only when there is a value.
  Value &operator*() { return *m_value; }
  const Value &operator*() const { return *m_value; }
  const Value *operator->() const { return &*m_value; }
  Value value_or(Value other) const { return m_value.value_or(std::move(other)); }
  const std::optional<Value> &optional() const { return m_value; }
  const QString &reason() const { return m_reason; }  // empty when there is a value

 private:
  std::optional<Value> m_value;
  QString m_reason;
};

}  // namespace tarvex
