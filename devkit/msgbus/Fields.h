#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <variant>

namespace devkit::bus {

/// What a message holds: texts and integers by name. The bytes of a text or name are anything but
/// zero.
using Field = std::variant<std::int64_t, std::string>;
using Fields = std::map<std::string, Field, std::less<>>;

}  // namespace devkit::bus
