#include "support/cloud_client_table.h"

#include <atomic>
#include <cstdlib>
#include <stdexcept>

namespace support {
namespace {

constexpr zvnc::Road road = zvnc::Road::table;

// The library's functions know no context, so neither can these.
std::atomic<zvnc::Backend*> backend = nullptr;

std::uint32_t init(void** instance) {
  return backend.load()->init(road, instance);
}

std::uint32_t uninit(void* instance) {
  return backend.load()->uninit(road, instance);
}

std::uint32_t ask(void* instance, const cirrel_ask_request* request, cirrel_response** response) {
  return backend.load()->ask(road, instance, request, response);
}

std::uint32_t free_response(cirrel_response* response) {
  return backend.load()->free_response(road, response);
}

std::uint32_t set_option(void* instance, std::uint32_t option, ...) {
  std::va_list arguments;
  va_start(arguments, option);
  const zvnc::OptionCall call = zvnc::read_option(option, arguments);
  va_end(arguments);
  return backend.load()->set_option(road, instance, call);
}

std::uint32_t get_option(void* instance, std::uint32_t option, void* out) {
  return backend.load()->get_option(road, instance, option, out);
}

std::uint32_t file_upload(void* instance, const cirrel_upload_request* request,
                          cirrel_upload_callback callback, void* context) {
  return backend.load()->file_upload(road, instance, request, callback, context);
}

std::uint32_t register_connect(void* instance, const cirrel_push_source* source,
                               const cirrel_push_destination* destination, const char* topic,
                               const char* transport, const cirrel_push_callbacks* callbacks) {
  return backend.load()->connect_register(road, instance, source, destination, topic, transport,
                                          callbacks);
}

[[noreturn]] void never_called() {
  std::abort();
}

}  // namespace

cirrel_client make_cloud_client_table(zvnc::Backend& the_backend) {
  if (backend.exchange(&the_backend) != nullptr) throw std::logic_error("a table is in use");

  cirrel_client table = {};
  auto* const entries = reinterpret_cast<void**>(&table);
  for (std::size_t i = 1; i < sizeof(table) / sizeof(void*); ++i) {
    entries[i] = reinterpret_cast<void*>(&never_called);
  }
  table.zvcirrel_init = init;
  table.zvcirrel_uninit = uninit;
  table.zvcirrel_ask = ask;
  table.zvcirrel_free_response = free_response;
  table.zvcirrel_set_option = set_option;
  table.zvcirrel_get_option = get_option;
  table.zvcirrel_file_upload = file_upload;
  table.connect_register = register_connect;
  return table;
}

void forget_cloud_client_table() noexcept {
  backend = nullptr;
}

}  // namespace support
