#include "platform/thread_pool.h"

#include <windows.h>

#include <new>

#include "platform/os.h"

namespace platform {
namespace {

struct Task {
  void (*callback)(void*);
  void* context;
};

void CALLBACK run(PTP_CALLBACK_INSTANCE, void* context) {
  const Task task = *static_cast<Task*>(context);
  delete static_cast<Task*>(context);
  task.callback(task.context);
}

}  // namespace

bool os::submit_to_pool(void (*callback)(void*), void* context, void* environment) noexcept {
  Task* const task = new (std::nothrow) Task{callback, context};
  if (task == nullptr) return false;
  if (TrySubmitThreadpoolCallback(run, task, static_cast<PTP_CALLBACK_ENVIRON>(environment))) {
    return true;
  }
  delete task;
  return false;
}

void close_pool(void* pool, void* environment) noexcept {
  if (pool != nullptr) CloseThreadpool(static_cast<PTP_POOL>(pool));
  delete static_cast<PTP_CALLBACK_ENVIRON>(environment);
}

void cancel_pool_timer(void* timer) noexcept {
  SetThreadpoolTimer(static_cast<PTP_TIMER>(timer), nullptr, 0, 0);
}

}  // namespace platform
