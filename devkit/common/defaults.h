#pragma once

#include <cstdint>

namespace devkit {

/// Where the development cloud listens and everyone looks for it unless told otherwise.
inline constexpr std::uint16_t default_port = 47811;
inline constexpr const char* default_cloud = "http://127.0.0.1:47811";

}  // namespace devkit
