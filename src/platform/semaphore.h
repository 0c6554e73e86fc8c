#pragma once

#include <cstdint>

namespace platform {

/// A counting semaphore, created at 0 with a maximum of 0x7fffffff. (The standard library's of GCC
/// 12 can miss a wake-up.) A release of 0 does nothing. Operations return 0 or the number that says
/// why not: 298 for a release beyond the maximum, 6 where there is no semaphore.
class semaphore {
 public:
  semaphore() noexcept;
  semaphore(const semaphore&) = delete;
  semaphore& operator=(const semaphore&) = delete;
  ~semaphore();

  /// Why it couldn't be made; 0 if it was.
  std::uint32_t error() const noexcept { return error_; }

  std::uint32_t acquire() noexcept;
  std::uint32_t release(std::uint32_t count) noexcept;

 private:
  std::uint32_t error_ = 0;
  void* handle_;
};

}  // namespace platform
