#include <atomic>

#include "_base/abi.h"
#include "loadable/zvnc/Backend.h"

namespace {

constexpr std::uint32_t no_backend = 31;
std::atomic<zvnc::Backend*> backend = nullptr;

template <class Call>
std::uint32_t forward(Call&& call) {
  zvnc::Backend* const target = backend.load();
  return target != nullptr ? call(*target) : no_backend;
}

}  // namespace

ABI_EXPORT void zvnc_set_backend(zvnc::Backend* target) {
  backend = target;
}

ABI_EXPORT std::uint32_t zvcirrel_init(void** instance) {
  return forward([&](zvnc::Backend& to) { return to.init(zvnc::Road::library, instance); });
}

ABI_EXPORT std::uint32_t zvcirrel_uninit(void* instance) {
  return forward([&](zvnc::Backend& to) { return to.uninit(zvnc::Road::library, instance); });
}

ABI_EXPORT std::uint32_t zvcirrel_ask(void* instance, const cirrel_ask_request* request,
                                      cirrel_response** response) {
  return forward(
      [&](zvnc::Backend& to) { return to.ask(zvnc::Road::library, instance, request, response); });
}

ABI_EXPORT std::uint32_t zvcirrel_free_response(cirrel_response* response) {
  return forward(
      [&](zvnc::Backend& to) { return to.free_response(zvnc::Road::library, response); });
}

ABI_EXPORT std::uint32_t zvcirrel_set_option(void* instance, std::uint32_t option, ...) {
  std::va_list arguments;
  va_start(arguments, option);
  const zvnc::OptionCall call = zvnc::read_option(option, arguments);
  va_end(arguments);
  return forward(
      [&](zvnc::Backend& to) { return to.set_option(zvnc::Road::library, instance, call); });
}

ABI_EXPORT std::uint32_t zvcirrel_get_option(void* instance, std::uint32_t option, void* out) {
  return forward(
      [&](zvnc::Backend& to) { return to.get_option(zvnc::Road::library, instance, option, out); });
}

ABI_EXPORT std::uint32_t zvcirrel_file_upload(void* instance, const cirrel_upload_request* request,
                                              cirrel_upload_callback callback, void* context) {
  return forward([&](zvnc::Backend& to) {
    return to.file_upload(zvnc::Road::library, instance, request, callback, context);
  });
}

ABI_EXPORT std::uint32_t connect_register(void* instance, const cirrel_push_source* source,
                                          const cirrel_push_destination* destination,
                                          const char* topic, const char* transport,
                                          const cirrel_push_callbacks* callbacks) {
  return forward([&](zvnc::Backend& to) {
    return to.connect_register(zvnc::Road::library, instance, source, destination, topic, transport,
                               callbacks);
  });
}

// Bound by the module, never called.
#define NEVER_CALLED(name)          \
  ABI_EXPORT std::uint32_t name() { \
    return no_backend;              \
  }

NEVER_CALLED(zvcirrel_push_info)
NEVER_CALLED(zvcirrel_push_json)
NEVER_CALLED(zvcirrel_push_bin)
NEVER_CALLED(zvcirrel_ask_json)
NEVER_CALLED(zvcirrel_ask_bin)
NEVER_CALLED(zvcirrel_ask_async)
NEVER_CALLED(zvcirrel_ask_json_async)
NEVER_CALLED(zvcirrel_ask_bin_async)
NEVER_CALLED(zvcirrel_text)
NEVER_CALLED(zvcirrel_set_optionv)
NEVER_CALLED(zvcirrel_dup_option)
NEVER_CALLED(zvcirrel_free_option)
NEVER_CALLED(zvcirrel_file_upload_async)
NEVER_CALLED(zvcirrel_mem_upload)
NEVER_CALLED(zvcirrel_mem_upload_async)
NEVER_CALLED(zvcirrel_json_alloc)
NEVER_CALLED(zvcirrel_json_free)
NEVER_CALLED(zvcirrel_json_object)
NEVER_CALLED(zvcirrel_json_path)
NEVER_CALLED(zvcirrel_json_foreach)
NEVER_CALLED(zvcirrel_json_array_at)
NEVER_CALLED(zvcirrel_json_array_size)
NEVER_CALLED(zvcirrel_json_string)
NEVER_CALLED(zvcirrel_json_long)
NEVER_CALLED(zvcirrel_json_real)
NEVER_CALLED(zvcirrel_json_type_of)
NEVER_CALLED(zvcirrel_gen_upload)
NEVER_CALLED(zvcirrel_gen_upload_async)
