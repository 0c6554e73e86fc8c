#include "frame/serial_execution.h"

#include <utility>

#include "_base/win_error.h"

namespace zv::framework {

std::uint32_t serial_execution::make(IExecutionService* service) {
  reset();
  ISerialExecution* queue = nullptr;
  if (const std::uint32_t error = service->make_serial_execution(&queue); error != 0) return error;
  if (queue == nullptr) return win_error::gen_failure;
  service_ = service;
  queue_ = queue;
  return 0;
}

std::uint32_t serial_execution::enqueue_task(const wchar_t* name, EqWorkItem* task) {
  return queue_->enqueue_task(name, 0, task, 0, 0, 0);
}

void serial_execution::reset() noexcept {
  if (queue_ != nullptr) service_->release_serial_execution(std::exchange(queue_, nullptr));
}

}  // namespace zv::framework
