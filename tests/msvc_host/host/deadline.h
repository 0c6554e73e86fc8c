#pragma once

#include "runtime/kernel32.h"

// An end for what would otherwise be waited for without one.
class deadline {
 public:
  bool over() const { return GetTickCount64() >= end_; }

 private:
  uint64_t end_ = GetTickCount64() + 60'000;
};

// Whether what other threads bring about comes to hold before that end.
template <class Condition>
bool comes(Condition condition) {
  const deadline end;
  while (!condition()) {
    if (end.over()) return false;
    Sleep(1);
  }
  return true;
}
