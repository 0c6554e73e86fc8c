#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

#include "platform/seam.h"

namespace support {

/// Stands between the module and the system for as long as it lives: holds the clocks still and
/// lets chosen calls fail. Installed by its constructor, removed by its destructor; only one at a
/// time. Every operation may be called from any thread. Destroy it only when no other thread still
/// calls into the module.
class TestSeam final : public platform::Seam {
 public:
  static constexpr std::size_t for_ever = ~std::size_t{0};

  TestSeam();
  TestSeam(const TestSeam&) = delete;
  TestSeam& operator=(const TestSeam&) = delete;
  ~TestSeam() override;

  /// The clock stands at `ticks` (100 ns since 1970) until it is set, moved or released.
  void hold_clock(std::int64_t ticks);
  /// Moves a held clock, backwards too.
  void jump_clock(std::int64_t by_ticks);
  void jump_clock_seconds(std::int64_t seconds) { jump_clock(seconds * 10'000'000); }
  void release_clock();

  void hold_milliseconds(std::uint32_t value);
  void release_milliseconds();

  /// The `nth` call of this kind from now on (1 is the next) fails with `number`, and so do the
  /// `times - 1` calls after it. Takes the place of what was asked for this kind before.
  void fail_call(platform::Call kind, std::uint32_t number, std::size_t nth = 1,
                 std::size_t times = 1);
  /// Every call of this kind fails from now on.
  void fail_calls(platform::Call kind, std::uint32_t number) {
    fail_call(kind, number, 1, for_ever);
  }
  void let_calls_through(platform::Call kind);
  /// How many calls of this kind were made since the construction, the failed ones included.
  std::size_t calls(platform::Call kind) const;

  /// The module's and the executable's full names, as module_file_name gives them.
  void set_own_module_name(std::wstring name, std::uint32_t error = 0);
  void set_executable_name(std::wstring name, std::uint32_t error = 0);
  void set_elevated(bool elevated);

  std::uint32_t fail(platform::Call kind) noexcept override;
  std::optional<std::int64_t> ticks() noexcept override;
  std::optional<std::uint32_t> milliseconds() noexcept override;
  std::optional<std::wstring> own_module_name(std::uint32_t& error) noexcept override;
  std::optional<std::wstring> executable_name(std::uint32_t& error) noexcept override;
  std::optional<bool> elevated() noexcept override;

 private:
  struct Fault {
    std::size_t calls = 0;  ///< made so far
    std::size_t first = 0;  ///< the number of the first call that fails
    std::size_t times = 0;  ///< how many fail
    std::uint32_t number = 0;
  };
  struct Name {
    std::wstring text;
    std::uint32_t error = 0;
  };

  static std::size_t index(platform::Call kind) { return static_cast<std::size_t>(kind); }

  mutable std::mutex mutex_;
  std::array<Fault, 6> faults_;
  std::optional<std::int64_t> ticks_;
  std::optional<std::uint32_t> milliseconds_;
  std::optional<Name> own_module_name_;
  std::optional<Name> executable_name_;
  std::optional<bool> elevated_;
};

}  // namespace support
