#include "host/services.h"

#include "runtime/text.h"

namespace {
constexpr const wchar_t* querier_name = L"cloud_guardian_querier";
}

void host_services::note(const char* call) {
  if (calls[0]) append_text(calls, " ");
  append_text(calls, call);
}

uint32_t host_services::get_plugin(const wchar_t* name, const IID& id, void** out) {
  const bool as_told = same(name, querier_name) && id == IID_ICloudGuardianQuerier;
  note(as_told ? "get_plugin" : "get_plugin(?)");
  *out = as_told ? querier : nullptr;
  return *out ? 0 : 1168;
}

void host_services::release_plugin(const wchar_t* name) {
  note(same(name, querier_name) ? "release_plugin" : "release_plugin(?)");
}

uint32_t host_services::make_serial_execution(serial_execution** handle) {
  note("make");
  *handle = new queue(*this);
  return 0;
}

void host_services::release_serial_execution(serial_execution* handle) {
  note("release");
  // A queue that is given back lets go of what it hasn't begun.
  if (kept_) kept_->Release();
  kept_ = nullptr;
  delete static_cast<queue*>(handle);
}

bool host_services::run_kept_task() {
  EqWorkItem* task = kept_;
  kept_ = nullptr;
  if (!task) return false;
  task->Execute();
  task->Release();
  return true;
}

uint32_t host_services::queue::enqueue_task(const wchar_t* name, uint64_t reserved,
                                            EqWorkItem* task, uint64_t reserved2,
                                            uint64_t reserved3, uint64_t reserved4) {
  const bool as_told =
      same(name, host_.task_name) && !reserved && !reserved2 && !reserved3 && !reserved4;
  host_.note(as_told ? "enqueue" : "enqueue(?)");
  if (host_.enqueue_result != 0) return host_.enqueue_result;
  host_.kept_ = task;
  if (!host_.keeps_task) host_.run_kept_task();
  return 0;
}
