#include "devkit/cloud/Crc32.h"

#include <array>
#include <cstdio>

namespace devkit {

namespace {

constexpr std::array<std::uint32_t, 256> make_table() {
  std::array<std::uint32_t, 256> table = {};
  for (std::uint32_t i = 0; i < table.size(); ++i) {
    std::uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = (value >> 1) ^ ((value & 1) != 0 ? 0xEDB88320u : 0u);
    table[i] = value;
  }
  return table;
}

constexpr auto table = make_table();

}  // namespace

void Crc32::add(const char* data, std::size_t size) noexcept {
  for (std::size_t i = 0; i < size; ++i) {
    value_ = (value_ >> 8) ^ table[(value_ ^ static_cast<std::uint8_t>(data[i])) & 0xFF];
  }
}

std::string Crc32::text() const {
  char text[9];
  std::snprintf(text, sizeof text, "%08x", ~value_);
  return text;
}

}  // namespace devkit
