#include "platform/error_text.h"

#include <cerrno>

#include "platform/errno_table.h"
#include "platform/os.h"

namespace platform {
namespace {

constexpr std::uint32_t error_gen_failure = 31;

}  // namespace

std::string error_text(std::uint32_t number) {
  return os::error_text(number);
}

std::uint32_t from_errno(int errno_value) noexcept {
  for (const ErrnoPair& pair : errno_table) {
    if (pair.errno_value == errno_value) return pair.number;
  }
  return error_gen_failure;
}

}  // namespace platform
