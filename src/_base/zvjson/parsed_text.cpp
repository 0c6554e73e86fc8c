#include "_base/zvjson/parsed_text.h"

#include <charconv>
#include <limits>
#include <new>
#include <string_view>

#include "_base/zvjson/json_io.h"

namespace zv {
namespace {

/// Room for most texts from the start.
constexpr std::size_t usual_size = 512;

constexpr std::string_view named_controls = "\b\f\n\r\t";
constexpr std::string_view control_names = "bfnrt";

bool needs_escape(char character) noexcept {
  return static_cast<unsigned char>(character) < 0x20 || character == '"' || character == '\\';
}

void append_escaped(char character, std::string& text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  text += '\\';
  const std::size_t named = named_controls.find(character);
  if (named != std::string_view::npos) {
    text += control_names[named];
  } else if (character == '"' || character == '\\') {
    text += character;
  } else {
    const auto code = static_cast<unsigned char>(character);
    text.append("u00").append(1, digits[code >> 4]).append(1, digits[code & 15]);
  }
}

/// `value` is UTF-8: the parse has seen to it.
void append_quoted(std::string_view value, std::string& text) {
  text += '"';
  std::size_t begin = 0;
  for (std::size_t i = 0; i != value.size(); ++i) {
    if (!needs_escape(value[i])) continue;
    text.append(value, begin, i - begin);
    append_escaped(value[i], text);
    begin = i + 1;
  }
  text.append(value, begin);
  text += '"';
}

void append_integer(json_int_t value, std::string& text) {
  char digits[std::numeric_limits<json_int_t>::digits10 + 2];
  const auto end = std::to_chars(std::begin(digits), std::end(digits), value).ptr;
  text.append(digits, end);
}

/// The digits of a real are jansson's choice.
void append_real(const json_t* value, std::string& text) {
  std::string number;
  if (!DumpInto(number, value, JSON_ENCODE_ANY)) throw std::bad_alloc();
  text += number;
}

void append_value(const json_t* value, std::string& text);

void append_array(const json_t* array, std::string& text) {
  text += '[';
  for (std::size_t i = 0; i != json_array_size(array); ++i) {
    if (i != 0) text += ", ";
    append_value(json_array_get(array, i), text);
  }
  text += ']';
}

void append_object(const json_t* object, std::string& text) {
  // jansson's way through an object asks for one that may be changed.
  auto* const members = const_cast<json_t*>(object);
  text += '{';
  bool is_first = true;
  for (void* member = json_object_iter(members); member != nullptr;
       member = json_object_iter_next(members, member)) {
    if (!is_first) text += ", ";
    is_first = false;
    append_quoted(json_object_iter_key(member), text);
    text += ": ";
    append_value(json_object_iter_value(member), text);
  }
  text += '}';
}

// The parser takes no deeper nesting than a few thousand, which bounds the recursion.
void append_value(const json_t* value, std::string& text) {
  switch (json_typeof(value)) {
    case JSON_OBJECT:
      return append_object(value, text);
    case JSON_ARRAY:
      return append_array(value, text);
    case JSON_STRING:
      return append_quoted({json_string_value(value), json_string_length(value)}, text);
    case JSON_INTEGER:
      return append_integer(json_integer_value(value), text);
    case JSON_REAL:
      return append_real(value, text);
    case JSON_TRUE:
      text += "true";
      return;
    case JSON_FALSE:
      text += "false";
      return;
    case JSON_NULL:
      text += "null";
      return;
  }
}

}  // namespace

std::string ParsedText(const json_t* value) {
  std::string text;
  if (!json_is_object(value) && !json_is_array(value)) return text;
  text.reserve(usual_size);
  append_value(value, text);
  return text;
}

}  // namespace zv
