#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace devkit {

/// The checksum of ZIP and PNG files, so that what arrived can be compared with `crc32 file`.
class Crc32 {
 public:
  void add(const char* data, std::size_t size) noexcept;
  /// Eight hexadecimal digits.
  std::string text() const;

 private:
  std::uint32_t value_ = ~std::uint32_t{0};
};

}  // namespace devkit
