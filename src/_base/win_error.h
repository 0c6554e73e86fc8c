#pragma once

#include <cstdint>
#include <system_error>

/// The Windows error numbers that this module compares with or returns itself. Any other is just
/// passed on.
namespace win_error {
inline constexpr std::uint32_t success = 0;
inline constexpr std::uint32_t access_denied = 5;  ///< refused by the circuit breaker
inline constexpr std::uint32_t invalid_data = 13;
inline constexpr std::uint32_t out_of_memory = 14;
inline constexpr std::uint32_t gen_failure = 31;
inline constexpr std::uint32_t invalid_parameter = 87;
inline constexpr std::uint32_t already_exists = 183;
inline constexpr std::uint32_t no_data = 232;
inline constexpr std::uint32_t bad_db = 1006;     ///< a file's content is invalid
inline constexpr std::uint32_t cant_open = 1011;  ///< a file couldn't be opened
inline constexpr std::uint32_t not_found = 1168;
inline constexpr std::uint32_t internal_error = 1359;
inline constexpr std::uint32_t function_failed = 1627;
inline constexpr std::uint32_t not_connected = 2250;
}  // namespace win_error

namespace winapi {

namespace details {

/// Windows error numbers as a std::error_category named "win_error", with the system's texts.
class win_error_category : public std::error_category {
 public:
  const char* name() const noexcept override;
  /// The system's text, or "unknown error " and the number.
  std::string message(int code) const override;
  std::error_condition default_error_condition(int code) const noexcept override;
};

}  // namespace details

/// The one instance in this module. (Another module's is another category to the standard library,
/// so codes don't cross the edge; their numbers do.)
const std::error_category& win_error_category() noexcept;

/// `number` as a code of the category "win_error".
std::error_code make_error_code(std::uint32_t number) noexcept;

}  // namespace winapi
