#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace devkit {

/// The lines on standard input, for who waits for other things besides. One object a process, whose
/// standard input nobody else reads.
class StandardInput {
 public:
  /// Reads up to the line `last`, or the input's end.
  explicit StandardInput(const std::string& last);
  StandardInput(const StandardInput&) = delete;
  StandardInput& operator=(const StandardInput&) = delete;
  ~StandardInput() = default;

  /// Null if none comes in the time.
  std::optional<std::string> next(std::chrono::milliseconds limit);
  /// Whether all lines, the last one included, were given away.
  bool has_ended() const;

 private:
  struct Lines;

  const std::shared_ptr<Lines> lines_;
};

}  // namespace devkit
