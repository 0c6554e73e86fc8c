#pragma once

#include <atomic>
#include <string>

namespace cloud::guardian {

/// The mutex of all processes and threads that share a lock file. Made anew for each acquisition,
/// since it is handles that exclude each other; to be held by a std::lock_guard. Waits without a
/// limit, and knows no fairness and no nesting: a thread that has it and asks again, through
/// another object, waits for ever.
class file_lock {
 public:
  /// `path` is kept as it is and must outlive the object: a copy would cost more than the rest of
  /// it.
  explicit file_lock(const std::wstring& path) noexcept;
  explicit file_lock(std::wstring&&) = delete;
  file_lock(const file_lock&) = delete;
  file_lock& operator=(const file_lock&) = delete;
  ~file_lock() { unlock(); }

  /// Creates the file if it is absent, and lets go first of what this object holds. Throws
  /// std::system_error in the category "win_error".
  void lock();
  /// Lets go of what is held.
  void unlock() noexcept;

 private:
  void* file_;
  const std::wstring& path_;
  std::atomic<bool> locked_ = false;
};

}  // namespace cloud::guardian
