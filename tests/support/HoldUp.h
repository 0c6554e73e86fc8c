#pragma once

#include "_base/waiting.h"

namespace support {

/// A place where threads are held up until they are let go. Copies are the same place, and outlive
/// who made it: a test that failed may leave a thread behind.
class HoldUp {
 public:
  void stop_here() const {
    reached_.open();
    go_on_.wait();
  }
  /// False if no thread comes by in time.
  bool is_reached() const { return reached_.wait(); }
  /// All, the later ones too.
  void let_go() const { go_on_.open(); }

 private:
  waiting::Gate reached_;
  waiting::Gate go_on_;
};

}  // namespace support
