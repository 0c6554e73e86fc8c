#include "devkit/msgbus/message_json.h"

#include <limits>
#include <nlohmann/json.hpp>

namespace devkit::bus {

namespace {

using nlohmann::json;

bool is_ascii(std::string_view text) {
  return std::all_of(text.begin(), text.end(),
                     [](char character) { return static_cast<signed char>(character) >= 0; });
}

/// The judge is the one who would refuse to write it.
bool is_utf8(std::string_view text) {
  if (is_ascii(text)) return true;
  try {
    static_cast<void>(json(text).dump());
    return true;
  } catch (const json::type_error&) {
    return false;
  }
}

/// UTF-8 as a JSON text.
void append_quoted(std::string_view text, std::string& json_text) {
  constexpr const char* digits = "0123456789abcdef";
  json_text += '"';
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x20) {
      json_text += {'\\', 'u', '0', '0', digits[byte >> 4], digits[byte & 15]};
    } else {
      if (character == '"' || character == '\\') json_text += '\\';
      json_text += character;
    }
  }
  json_text += '"';
}

std::optional<Field> field(const json& value) {
  if (value.is_string()) return from_json_text(value.get_ref<const std::string&>());
  const bool fits = value.is_number_integer() &&
                    !(value.is_number_unsigned() &&
                      value.get<std::uint64_t>() > std::numeric_limits<std::int64_t>::max());
  if (fits) return value.get<std::int64_t>();
  return std::nullopt;
}

}  // namespace

std::string to_json_text(std::string_view bytes) {
  if (is_utf8(bytes)) return std::string(bytes);
  std::string text(1, '\0');
  for (const char character : bytes) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte < 0x80) {
      text += character;
    } else {
      text += static_cast<char>(0xC0 | (byte >> 6));
      text += static_cast<char>(0x80 | (byte & 0x3F));
    }
  }
  return text;
}

std::string from_json_text(std::string_view text) {
  if (text.empty() || text[0] != '\0') return std::string(text);
  std::string bytes;
  for (std::size_t i = 1; i < text.size(); ++i) {
    const auto first = static_cast<unsigned char>(text[i]);
    if (first < 0x80 || i + 1 == text.size()) {
      bytes += text[i];
    } else {
      bytes += static_cast<char>((first << 6) | (static_cast<unsigned char>(text[++i]) & 0x3F));
    }
  }
  return bytes;
}

std::string to_json(const Fields& fields) {
  // By hand: a tree of copies would cost twice as much.
  std::string text = "{";
  for (const auto& [key, value] : fields) {
    if (text.size() > 1) text += ',';
    append_quoted(to_json_text(key), text);
    text += ':';
    if (const auto* const number = std::get_if<std::int64_t>(&value)) {
      text += std::to_string(*number);
    } else {
      append_quoted(to_json_text(std::get<std::string>(value)), text);
    }
  }
  return text += '}';
}

std::optional<Fields> from_json(std::string_view text) {
  const json object = json::parse(text, nullptr, false);
  if (!object.is_object()) return std::nullopt;
  Fields fields;
  for (const auto& [key, value] : object.items()) {
    if (std::optional<Field> read = field(value))
      fields.insert_or_assign(from_json_text(key), *std::move(read));
  }
  return fields;
}

}  // namespace devkit::bus
