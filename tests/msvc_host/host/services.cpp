#include "host/services.h"

#include "runtime/text.h"

void host_services::note(const char* call) {
  if (calls[0]) append_text(calls, " ");
  append_text(calls, call);
}

uint32_t host_services::get_plugin(const wchar_t*, const IID&, void** out) {
  note("get_plugin");
  *out = nullptr;
  return 1168;
}

void host_services::release_plugin(const wchar_t*) {
  note("release_plugin");
}

uint32_t host_services::make_serial_execution(serial_execution** handle) {
  note("make");
  *handle = new queue(*this);
  return 0;
}

void host_services::release_serial_execution(serial_execution* handle) {
  note("release");
  delete static_cast<queue*>(handle);
}

uint32_t host_services::queue::enqueue_task(const wchar_t* name, uint64_t reserved,
                                            EqWorkItem* task, uint64_t reserved2,
                                            uint64_t reserved3, uint64_t reserved4) {
  const bool as_told =
      same(name, L"probe task") && !reserved && !reserved2 && !reserved3 && !reserved4;
  host_.note(as_told ? "enqueue" : "enqueue(?)");
  if (host_.enqueue_result != 0) return host_.enqueue_result;
  task->Execute();
  task->Release();
  return 0;
}
