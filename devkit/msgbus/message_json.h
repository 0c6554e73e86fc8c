#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "devkit/msgbus/Fields.h"

namespace devkit::bus {

/// A message as a JSON object and back, without loss: a text that isn't UTF-8 is written as U+0000,
/// which no text contains, followed by a character of the same number for each byte.
std::string to_json(const Fields& fields);
/// Null if it isn't a JSON object. Members that are neither texts nor integers of 64 bits are left
/// out: others may publish at the broker too.
std::optional<Fields> from_json(std::string_view json);

/// One text, as above.
std::string to_json_text(std::string_view bytes);
std::string from_json_text(std::string_view text);

}  // namespace devkit::bus
