#pragma once

#include <cstdint>

/// A reader-writer lock by thread identity. A thread id of 0 means the calling thread.
class ISyncRWLock {
 public:
  virtual void ReadLock(std::uint32_t thread_id) = 0;
  virtual void ReadUnlock(std::uint32_t thread_id) = 0;
  virtual void WriteLock(std::uint32_t thread_id) = 0;
  virtual void WriteUnlock(std::uint32_t thread_id) = 0;

 protected:
  ~ISyncRWLock() = default;
};
