#include "platform/text.h"

#include "platform/os.h"

namespace platform {
namespace {

constexpr std::uint32_t error_invalid_parameter = 87;
constexpr std::uint32_t error_insufficient_buffer = 122;

/// What both directions refuse alike. A size of 0 beside a buffer would read as a question for the
/// size to some systems.
std::uint32_t refusal(const void* text, const void* buffer, std::uint32_t size) noexcept {
  if (text == nullptr) return error_invalid_parameter;
  return buffer != nullptr && size == 0 ? error_insufficient_buffer : 0;
}

}  // namespace

std::uint32_t utf8_to_wide(const char* text, wchar_t* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept {
  error = refusal(text, buffer, size);
  return error == 0 ? os::utf8_to_wide(text, buffer, size, error) : 0;
}

std::uint32_t wide_to_utf8(const wchar_t* text, char* buffer, std::uint32_t size,
                           std::uint32_t& error) noexcept {
  error = refusal(text, buffer, size);
  return error == 0 ? os::wide_to_utf8(text, buffer, size, error) : 0;
}

}  // namespace platform
