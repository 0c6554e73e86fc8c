#pragma once

#include "runtime/kernel32.h"

// Constant-initialised, as libraries without an entry point construct nothing.
class mutex {
 public:
  constexpr mutex() = default;
  void lock() { AcquireSRWLockExclusive(&word_); }
  void unlock() { ReleaseSRWLockExclusive(&word_); }

 private:
  void* word_ = nullptr;
};

class lock_guard {
 public:
  explicit lock_guard(mutex& held) : held_(held) { held_.lock(); }
  lock_guard(const lock_guard&) = delete;
  lock_guard& operator=(const lock_guard&) = delete;
  ~lock_guard() { held_.unlock(); }

 private:
  mutex& held_;
};

// Numbers that several threads change.
inline int32_t add_to(int32_t& number, int32_t difference) {
  return __atomic_add_fetch(&number, difference, __ATOMIC_SEQ_CST);
}
inline int32_t read(const int32_t& number) {
  return __atomic_load_n(&number, __ATOMIC_SEQ_CST);
}
