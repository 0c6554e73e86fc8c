#pragma once

#include <cstdint>

/// A task for the host's serial execution. The host runs `Execute`, then calls `Release`; a task
/// that never ran is released when its queue is given back.
class EqWorkItem {
 public:
  virtual void* scalar_deleting_destructor(std::uint32_t flags) = 0;
  virtual void Release() = 0;  ///< destroys the task
  virtual void Execute() = 0;

 protected:
  ~EqWorkItem() = default;
};
