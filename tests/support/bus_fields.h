#pragma once

#include <concepts>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "frame/msgbus/IBusMessage.h"

namespace support {

/// One field of a bus message: {"module", "push"} or {"topic", 1}.
struct BusField {
  BusField(std::string name, std::string text) : key(std::move(name)), value(std::move(text)) {}
  BusField(std::string name, const char* text) : BusField(std::move(name), std::string(text)) {}
  template <std::integral Number>
  BusField(std::string name, Number number)
      : key(std::move(name)), value(static_cast<std::int64_t>(number)) {}

  bool operator==(const BusField&) const = default;

  std::string key;
  std::variant<std::int64_t, std::string> value;
};

/// Fields in the order in which they are written. A key that is there twice was written twice, and
/// holds what was written last.
using BusFields = std::vector<BusField>;

/// The value of `key` in the end; null if it is absent or of the other kind.
inline const std::string* find_text(const BusFields& fields, std::string_view key) {
  for (auto field = fields.rbegin(); field != fields.rend(); ++field) {
    if (field->key == key) return std::get_if<std::string>(&field->value);
  }
  return nullptr;
}
inline const std::int64_t* find_number(const BusFields& fields, std::string_view key) {
  for (auto field = fields.rbegin(); field != fields.rend(); ++field) {
    if (field->key == key) return std::get_if<std::int64_t>(&field->value);
  }
  return nullptr;
}

/// Writes them in their order.
inline void write_fields(IBusMessage& message, const BusFields& fields) {
  for (const BusField& field : fields) {
    if (const auto* const text = std::get_if<std::string>(&field.value)) {
      message.SetString(field.key.c_str(), text->c_str());
    } else {
      message.SetInt(field.key.c_str(), std::get<std::int64_t>(field.value));
    }
  }
}

/// For a test's messages: {"module", "push"} and {"topic", 1}.
inline void PrintTo(const BusField& field, std::ostream* stream) {
  *stream << "{\"" << field.key << "\", ";
  if (const auto* const text = std::get_if<std::string>(&field.value)) {
    *stream << '"' << *text << '"';
  } else {
    *stream << std::get<std::int64_t>(field.value);
  }
  *stream << '}';
}

}  // namespace support
