#pragma once

#include "runtime/kernel32.h"

// An end for what would otherwise be waited for without one.
class deadline {
 public:
  bool over() const { return GetTickCount64() >= end_; }

 private:
  uint64_t end_ = GetTickCount64() + 60'000;
};
