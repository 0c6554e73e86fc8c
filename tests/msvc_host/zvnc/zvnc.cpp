// A cloud client for the host's checks, built for the MSVC ABI as the real one is: answers with
// what the host laid down, and writes every call down.

#include "runtime/kernel32.h"
#include "runtime/text.h"
#include "zvnc/records.h"

#define EXPORTED extern "C" __declspec(dllexport)

namespace {

using namespace zvnc;

struct ask_request {
  const char* service;
  uint32_t timeout;
  uint32_t format;
  const char* data;
  uint32_t size;
};

struct response {
  void* reserved;
  char* text;
  uint64_t size;
};

struct upload_request {
  const char* service;
  const char* path;
  const char* signature;
  const char* meta;
};

struct push_source {
  const char* user_token;
  const char* app_id;
  const char* device_id;
};

struct push_destination {
  const char* app_id;
  const char* device_id;
};

using push_callback = void(const response* told, void* context);

struct push_callbacks {
  push_callback* done;
  push_callback* event;
  void* context;
};

struct instance {
  uint32_t number;
};

constexpr uint32_t most_records = 256;
record records[most_records];
uint32_t used = 0;
void* lock = nullptr;

uint32_t ask_result = 0;
const char* answer = "";
uint32_t status_result = 0;
uint32_t status_value = 1;
uint32_t instances = 0;
cloud_up_callback* cloud_up = nullptr;
void* cloud_up_context = nullptr;
uint32_t push_result = 0;
push_callbacks push_target{};

record& note(call kind, void* at) {
  AcquireSRWLockExclusive(&lock);
  record& result = records[used < most_records - 1 ? used++ : most_records - 1];
  ReleaseSRWLockExclusive(&lock);
  result = {};
  result.kind = kind;
  result.instance = at;
  return result;
}

bool all_zero(const char* text, uint64_t size) {
  for (uint64_t i = 0; i < size; ++i) {
    if (text[i]) return false;
  }
  return true;
}

struct upload {
  upload_callback* callback;
  void* context;
  uint32_t result;
};

// Two reports: a plain one, and one with a state that doesn't exist and no text.
uint32_t report_progress(void* argument) {
  auto& running = *static_cast<upload*>(argument);
  const upload_status first{3, 50, 1, "half way"};
  const upload_status second{9, 100, 0, nullptr};
  running.result = running.callback(&first, running.context);
  running.result |= running.callback(&second, running.context);
  return 0;
}

uint32_t run_cloud_up(void*) {
  cloud_up(cloud_up_context);
  return 0;
}

// The size counts, not a terminator.
uint32_t run_push(void* argument) {
  auto* text = static_cast<const char*>(argument);
  const size_t size = length_of(text);
  auto* bytes = static_cast<char*>(operator new(size + 8));
  for (size_t i = 0; i < size; ++i) bytes[i] = text[i];
  for (size_t i = size; i < size + 8; ++i) bytes[i] = '}';
  const response pushed{nullptr, bytes, size};
  push_target.event(&pushed, push_target.context);
  operator delete(bytes);
  return 0;
}

// The library calls back on threads of its own.
bool run_on_own_thread(uint32_t (*body)(void*), void* argument) {
  void* thread = CreateThread(nullptr, 0, body, argument, 0, nullptr);
  if (!thread) return false;
  WaitForSingleObject(thread, infinite);
  CloseHandle(thread);
  return true;
}

}  // namespace

EXPORTED uint32_t zvcirrel_init(void** out) {
  *out = new instance{++instances};
  note(call::init, *out);
  return 0;
}

EXPORTED uint32_t zvcirrel_uninit(void* at) {
  note(call::uninit, at);
  delete static_cast<instance*>(at);
  return 0;
}

EXPORTED uint32_t zvcirrel_ask(void* at, const ask_request* request, response** out) {
  record& entry = note(call::ask, at);
  copy_text(entry.first, request->service);
  copy_text(entry.body, request->data);
  entry.number = request->timeout;
  entry.format = request->format;
  entry.value = request->size;
  if (ask_result != 0) return ask_result;

  const size_t size = length_of(answer);
  auto* text = static_cast<char*>(operator new(size + 1));
  for (size_t i = 0; i <= size; ++i) text[i] = answer[i];
  *out = new response{nullptr, text, size};
  return 0;
}

EXPORTED uint32_t zvcirrel_free_response(response* given) {
  record& entry = note(call::free_response, nullptr);
  entry.wiped = all_zero(given->text, given->size);
  entry.value = static_cast<uint32_t>(given->size);
  operator delete(given->text);
  delete given;
  return 0;
}

EXPORTED uint32_t zvcirrel_set_option(void* at, uint32_t option, ...) {
  record& entry = note(call::set_option, at);
  entry.number = option;
  __builtin_va_list rest;
  __builtin_va_start(rest, option);
  switch (option) {
    case 9:
      cloud_up = __builtin_va_arg(rest, cloud_up_callback*);
      cloud_up_context = __builtin_va_arg(rest, void*);
      entry.callback = reinterpret_cast<void*>(cloud_up);
      entry.context = cloud_up_context;
      break;
    case 10:
      entry.callback = __builtin_va_arg(rest, void*);
      cloud_up = nullptr;
      break;
    case 12:
    case 39:
      copy_text(entry.first, __builtin_va_arg(rest, const char*));
      copy_text(entry.second, __builtin_va_arg(rest, const char*));
      copy_text(entry.third, __builtin_va_arg(rest, const char*));
      break;
    case 28:
      copy_text(entry.first, __builtin_va_arg(rest, const char*));
      break;
    default:
      entry.value = __builtin_va_arg(rest, uint32_t);
      break;
  }
  __builtin_va_end(rest);
  return 0;
}

EXPORTED uint32_t zvcirrel_get_option(void* at, uint32_t option, void* out) {
  record& entry = note(call::get_option, at);
  entry.number = option;
  if (status_result != 0) return status_result;
  *static_cast<uint32_t*>(out) = status_value;
  return 0;
}

EXPORTED uint32_t zvcirrel_file_upload(void* at, const upload_request* request,
                                       upload_callback* callback, void* context) {
  record& entry = note(call::upload, at);
  copy_text(entry.first, request->service);
  copy_text(entry.second, request->path);
  copy_text(entry.third, request->signature);
  copy_text(entry.body, request->meta);
  entry.null_texts = !request->signature && !request->meta;
  entry.callback = reinterpret_cast<void*>(callback);
  entry.context = context;

  upload running{callback, context, 0};
  if (!run_on_own_thread(report_progress, &running)) return 31;
  return running.result;
}

EXPORTED uint32_t connect_register(void* at, const push_source* source,
                                   const push_destination* destination, const char* topic,
                                   const char* transport, const push_callbacks* callbacks) {
  record& entry = note(call::push_register, at);
  copy_text(entry.first, source->app_id);
  copy_text(entry.second, source->device_id);
  copy_text(entry.third, source->user_token);
  copy_text(entry.body, destination->app_id);
  const char* const others[] = {destination->device_id, topic, transport};
  for (const char* part : others) {
    append_text(entry.body, "|");
    append_text(entry.body, part);
  }
  entry.callback = reinterpret_cast<void*>(callbacks->event);
  entry.context = callbacks->context;
  if (push_result != 0) return push_result;

  push_target = *callbacks;
  callbacks->done(nullptr, callbacks->context);
  return 0;
}

// Bound by the module, never called.
#define BOUND_ONLY(name)             \
  EXPORTED uint32_t name() {         \
    note(call::bound_only, nullptr); \
    return 50;                       \
  }

BOUND_ONLY(zvcirrel_push_info)
BOUND_ONLY(zvcirrel_push_json)
BOUND_ONLY(zvcirrel_push_bin)
BOUND_ONLY(zvcirrel_ask_json)
BOUND_ONLY(zvcirrel_ask_bin)
BOUND_ONLY(zvcirrel_ask_async)
BOUND_ONLY(zvcirrel_ask_json_async)
BOUND_ONLY(zvcirrel_ask_bin_async)
BOUND_ONLY(zvcirrel_text)
BOUND_ONLY(zvcirrel_set_optionv)
BOUND_ONLY(zvcirrel_dup_option)
BOUND_ONLY(zvcirrel_free_option)
BOUND_ONLY(zvcirrel_file_upload_async)
BOUND_ONLY(zvcirrel_mem_upload)
BOUND_ONLY(zvcirrel_mem_upload_async)
BOUND_ONLY(zvcirrel_json_alloc)
BOUND_ONLY(zvcirrel_json_free)
BOUND_ONLY(zvcirrel_json_object)
BOUND_ONLY(zvcirrel_json_path)
BOUND_ONLY(zvcirrel_json_foreach)
BOUND_ONLY(zvcirrel_json_array_at)
BOUND_ONLY(zvcirrel_json_array_size)
BOUND_ONLY(zvcirrel_json_string)
BOUND_ONLY(zvcirrel_json_long)
BOUND_ONLY(zvcirrel_json_real)
BOUND_ONLY(zvcirrel_json_type_of)
BOUND_ONLY(zvcirrel_gen_upload)
BOUND_ONLY(zvcirrel_gen_upload_async)

// For the host.

EXPORTED uint32_t zvnc_record_count() {
  return used;
}
EXPORTED const record* zvnc_record(uint32_t index) {
  return index < used ? &records[index] : nullptr;
}
EXPORTED void zvnc_forget() {
  used = 0;
}

EXPORTED void zvnc_answer(uint32_t result, const char* text) {
  ask_result = result;
  answer = text;
}

EXPORTED void zvnc_cloud_status(uint32_t result, uint32_t value) {
  status_result = result;
  status_value = value;
}

EXPORTED void zvnc_refuse_push(uint32_t result) {
  push_result = result;
}

EXPORTED bool zvnc_push(const char* text) {
  return push_target.event && run_on_own_thread(run_push, const_cast<char*>(text));
}

EXPORTED bool zvnc_fire_cloud_up() {
  return cloud_up && run_on_own_thread(run_cloud_up, nullptr);
}
