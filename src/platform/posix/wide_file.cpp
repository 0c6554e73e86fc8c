#include "platform/wide_file.h"

#include <cstdint>
#include <memory>
#include <new>

#include "platform/text.h"

namespace platform {

std::FILE* open_wide(const wchar_t* path, const char* mode) noexcept {
  std::uint32_t error = 0;
  const std::uint32_t size = wide_to_utf8(path, nullptr, 0, error);
  if (size == 0) return nullptr;
  const std::unique_ptr<char[]> utf8_path(new (std::nothrow) char[size]);
  if (utf8_path == nullptr) return nullptr;
  if (wide_to_utf8(path, utf8_path.get(), size, error) == 0) return nullptr;
  return std::fopen(utf8_path.get(), mode);
}

}  // namespace platform
