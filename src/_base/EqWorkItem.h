#pragma once

#include <cstdint>

/// A task for the host's serial execution, which owns it from a successful enqueue on and ends it
/// by `Release`, whether it came to `Execute` it or not.
class EqWorkItem {
 public:
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;
  virtual void Release() = 0;  ///< destroys the task
  virtual void Execute() = 0;

 protected:
  ~EqWorkItem() = default;
};
