#pragma once

#include <cstdint>

#include "frame/IServMain.h"

class EqWorkItem;

namespace zv::framework {

/// Owner of a serial queue that the host made. The host's service must outlive it.
class serial_execution {
 public:
  serial_execution() noexcept = default;
  serial_execution(const serial_execution&) = delete;
  serial_execution& operator=(const serial_execution&) = delete;
  ~serial_execution() { reset(); }

  /// 0, or why the host made none. Gives back what was held before.
  std::uint32_t make(IExecutionService* service);
  /// 0: the queue has `task` now. Otherwise it is still the caller's.
  std::uint32_t enqueue_task(const wchar_t* name, EqWorkItem* task);
  /// Gives the queue back. The host ends a task that hasn't begun without running it, and is
  /// expected to let one that runs come to its end first.
  void reset() noexcept;

  explicit operator bool() const noexcept { return queue_ != nullptr; }

 private:
  IExecutionService* service_ = nullptr;
  ISerialExecution* queue_ = nullptr;
};

}  // namespace zv::framework
