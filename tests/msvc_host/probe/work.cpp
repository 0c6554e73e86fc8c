// Tasks, locks and configuration: what the module offers to a host, or asks of it, beside its
// plug-ins.

#include <cstdio>
#include <string>

#include "_base/CSyncRWLock.h"
#include "_base/EqWorkItem.h"
#include "_base/ISyncRWLock.h"
#include "_base/abi.h"
#include "_base/once_task.h"
#include "frame/IServMain.h"
#include "frame/host_paths.h"
#include "told.h"

namespace {

class worker {
 public:
  void work() { ++runs; }
  std::uint32_t runs = 0;
};
worker the_worker;

class told_lock final : public ISyncRWLock {
 public:
  void ReadLock(std::uint32_t id) override { tell("ReadLock", id); }
  void ReadUnlock(std::uint32_t id) override { tell("ReadUnlock", id); }
  void WriteLock(std::uint32_t id) override { tell("WriteLock", id); }
  void WriteUnlock(std::uint32_t id) override { tell("WriteUnlock", id); }

 private:
  void tell(const char* operation, std::uint32_t id) {
    told((operation + (" " + std::to_string(id))).c_str());
  }
};

}  // namespace

/// Puts a task that counts into a new queue of the host, and gives the queue back. Returns what
/// enqueue_task returned; a refused task is released here, as its owner must.
ABI_EXPORT std::uint32_t probe_enqueue(IExecutionService* service) {
  ISerialExecution* queue = nullptr;
  if (const std::uint32_t status = service->make_serial_execution(&queue); status != 0)
    return status;
  auto* task = new zv::framework::once_task<void (worker::*)(), worker>(&worker::work, &the_worker);
  const std::uint32_t status = queue->enqueue_task(L"probe task", 0, task, 0, 0, 0);
  if (status != 0) task->Release();
  service->release_serial_execution(queue);
  return status;
}

ABI_EXPORT std::uint32_t probe_task_runs() {
  return the_worker.runs;
}

/// Drives a task of the host as a queue does.
ABI_EXPORT void probe_run_task(EqWorkItem* task) {
  task->Execute();
  task->Release();
}

/// Ends and frees a task of the host through its destructor slot; returns what that returned.
ABI_EXPORT void* probe_delete_task(EqWorkItem* task) {
  return task->scalar_deleting_destructor(msvc_abi::free_memory);
}

ABI_EXPORT ISyncRWLock* probe_told_lock() {
  static told_lock lock;
  return &lock;
}

ABI_EXPORT ISyncRWLock* probe_make_lock() {
  static CSyncRWLock lock;
  return &lock;
}

/// Asks the configuration library beside this module.
ABI_EXPORT void probe_product_app_id(char* text, std::uint32_t size) {
  std::snprintf(text, size, "%s", get_product_app_id().c_str());
}

ABI_EXPORT std::uint32_t probe_profile_path(wchar_t* text, std::uint32_t size) {
  const auto path = get_profile_path(L"sub");
  if (!path.has_value()) return 1;
  std::size_t at = 0;
  for (; at < path.value().size() && at + 1 < size; ++at) text[at] = path.value()[at];
  text[at] = L'\0';
  return 0;
}
