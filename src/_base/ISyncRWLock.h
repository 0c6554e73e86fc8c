#pragma once

#include <cstdint>

/// A reader-writer lock that knows its holders by thread id; 0 stands for whoever calls.
class ISyncRWLock {
 public:
  virtual void ReadLock(std::uint32_t thread_id) = 0;
  virtual void ReadUnlock(std::uint32_t thread_id) = 0;
  virtual void WriteLock(std::uint32_t thread_id) = 0;
  virtual void WriteUnlock(std::uint32_t thread_id) = 0;

 protected:
  ~ISyncRWLock() = default;
};
