#pragma once

#include <cstdint>

namespace platform {

/// A counting semaphore, created at 0 with a maximum of 0x7fffffff. (The standard library's of GCC
/// 12 can miss a wake-up.) A release of 0 does nothing. A refusal of the system, a release beyond
/// the maximum among them, is thrown as std::system_error.
class semaphore {
 public:
  semaphore();
  semaphore(const semaphore&) = delete;
  semaphore& operator=(const semaphore&) = delete;
  ~semaphore();

  void acquire();
  void release(std::uint32_t count);

 private:
  void* handle_;
};

}  // namespace platform
