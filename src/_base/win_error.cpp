#include "_base/win_error.h"

#include "platform/error_text.h"

namespace winapi {

namespace details {

const char* win_error_category::name() const noexcept {
  return "win_error";
}

std::string win_error_category::message(int code) const {
  std::string text = platform::error_text(static_cast<std::uint32_t>(code));
  if (text.empty()) text = "unknown error " + std::to_string(code);
  return text;
}

std::error_condition win_error_category::default_error_condition(int code) const noexcept {
  return {code, *this};
}

}  // namespace details

const std::error_category& win_error_category() noexcept {
  static const details::win_error_category instance;
  return instance;
}

std::error_code make_error_code(std::uint32_t number) noexcept {
  return {static_cast<int>(number), win_error_category()};
}

}  // namespace winapi
