#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

namespace platform {

/// The calls of the system that a test can make fail: opening a file or a lock file, the reads and
/// the writes of one stream (asked once, when it has been opened), taking the file lock, watching
/// (one call for opening a folder, one for each start of a read), and submission to the pool.
enum class Call : std::uint8_t { open, read, write, lock, watch, submit };

/// What a test puts between the module and the system. Each operation may be called from any
/// thread. The defaults change nothing.
class Seam {
 public:
  virtual ~Seam() = default;

  /// The number a call has to fail with; 0 lets it through.
  virtual std::uint32_t fail(Call) noexcept { return 0; }
  virtual std::optional<std::int64_t> ticks() noexcept { return std::nullopt; }
  virtual std::optional<std::uint32_t> milliseconds() noexcept { return std::nullopt; }
  /// The name that module_file_name gives for the module itself; an error number in `error`.
  virtual std::optional<std::wstring> own_module_name(std::uint32_t& error) noexcept;
  virtual std::optional<std::wstring> executable_name(std::uint32_t& error) noexcept;
  virtual std::optional<bool> elevated() noexcept { return std::nullopt; }
};

/// Null (as in the product) means none: each call then costs one load more than without.
void set_seam(Seam* seam) noexcept;
Seam* seam() noexcept;

}  // namespace platform
