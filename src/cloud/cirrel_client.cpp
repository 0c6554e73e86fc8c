#include "cloud/cirrel_client.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <string>

namespace {

/// In the order of the record's fields.
constexpr const char* symbols[] = {
    "zvcirrel_init",
    "zvcirrel_uninit",
    "zvcirrel_push_info",
    "zvcirrel_push_json",
    "zvcirrel_push_bin",
    "zvcirrel_ask",
    "zvcirrel_ask_json",
    "zvcirrel_ask_bin",
    "zvcirrel_ask_async",
    "zvcirrel_ask_json_async",
    "zvcirrel_ask_bin_async",
    "zvcirrel_free_response",
    "zvcirrel_text",
    "zvcirrel_set_option",
    "zvcirrel_set_optionv",
    "zvcirrel_get_option",
    "zvcirrel_dup_option",
    "zvcirrel_free_option",
    "zvcirrel_file_upload",
    "zvcirrel_file_upload_async",
    "zvcirrel_mem_upload",
    "zvcirrel_mem_upload_async",
    "zvcirrel_json_alloc",
    "zvcirrel_json_free",
    "zvcirrel_json_object",
    "zvcirrel_json_path",
    "zvcirrel_json_foreach",
    "zvcirrel_json_array_at",
    "zvcirrel_json_array_size",
    "zvcirrel_json_string",
    "zvcirrel_json_long",
    "zvcirrel_json_real",
    "zvcirrel_json_type_of",
    "connect_register",
    "zvcirrel_gen_upload",
    "zvcirrel_gen_upload_async",
};
static_assert(sizeof(cirrel_client) == (1 + std::size(symbols)) * sizeof(void*));

/// False at the first function that the library lacks: it is then refused as a whole.
bool bind_functions(cirrel_client* client) {
  char* field = reinterpret_cast<char*>(client) + sizeof(client->module);
  for (const char* const symbol : symbols) {
    std::uint32_t error = 0;
    void* const function = platform::find_symbol(client->module, symbol, error);
    if (function == nullptr) return false;
    std::memcpy(field, &function, sizeof(function));
    field += sizeof(function);
  }
  return true;
}

}  // namespace

cirrel_client* load_cirrel_client() {
  const std::wstring library = platform::library_file_name(L"zvnc");
  auto* const client = static_cast<cirrel_client*>(std::calloc(1, sizeof(cirrel_client)));
  if (client == nullptr) return nullptr;

  std::uint32_t error = 0;
  client->module = platform::load_library(library.c_str(), error);
  if (client->module == nullptr) {
    std::free(client);
    return nullptr;
  }
  if (!bind_functions(client)) {
    unload_cirrel_client(client);
    return nullptr;
  }
  return client;
}

void unload_cirrel_client(cirrel_client* client) noexcept {
  platform::unload_library(client->module);
  std::free(client);
}

void create_client_instance(cirrel_client*& client, void*& instance) {
  instance = nullptr;
  client = load_cirrel_client();
  if (client == nullptr) return;
  // A success without an instance is none: there would be nothing to ask, or to give back later.
  if (client->zvcirrel_init(&instance) != 0 || instance == nullptr) {
    unload_cirrel_client(client);
    client = nullptr;
    instance = nullptr;
    return;
  }
  client->zvcirrel_set_option(instance, ZVCIRREL_OPT_CLOUD_INIT, 1);
}

void destroy_client_instance(cirrel_client*& client, void*& instance) noexcept {
  if (client == nullptr) return;
  if (instance != nullptr) client->zvcirrel_uninit(instance);
  unload_cirrel_client(client);
  client = nullptr;
  instance = nullptr;
}
