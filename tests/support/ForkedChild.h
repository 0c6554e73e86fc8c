#pragma once

#include <functional>

namespace support {

/// A copy of this process that runs one function, for tests of what a process's death leaves
/// behind. Only where processes can be copied.
class ForkedChild {
 public:
  static bool possible();

  /// Runs `work(ready)` in the child and returns when that has called `ready`, which then never
  /// comes back. Throws std::runtime_error if the child ends before.
  explicit ForkedChild(const std::function<void(const std::function<void()>& ready)>& work);
  ForkedChild(const ForkedChild&) = delete;
  ForkedChild& operator=(const ForkedChild&) = delete;
  ~ForkedChild() { kill(); }

  /// Ends the child without giving it any chance to tidy up, and waits for its end.
  void kill();

 private:
  int process_ = 0;
};

}  // namespace support
