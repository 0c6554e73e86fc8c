#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/library.h"

/// The binding of the closed cloud-client library: its records, options and functions.

struct cirrel_ask_request {
  const char* service;  ///< never null
  std::uint32_t timeout;
  std::uint32_t format;  ///< always 1
  const char* data;
  std::uint32_t size;  ///< bytes of data
};
static_assert(offsetof(cirrel_ask_request, timeout) == 8 &&
              offsetof(cirrel_ask_request, format) == 12);
static_assert(offsetof(cirrel_ask_request, data) == 16 && offsetof(cirrel_ask_request, size) == 24);
static_assert(sizeof(cirrel_ask_request) == 32);

/// Goes back to the library by zvcirrel_free_response.
struct cirrel_response {
  void* reserved;
  char* text;          ///< terminated
  std::uint64_t size;  ///< bytes of text
};
static_assert(offsetof(cirrel_response, text) == 8 && offsetof(cirrel_response, size) == 16);

struct cirrel_upload_request {
  const char* service;    ///< never null
  const char* path;       ///< never null
  const char* signature;  ///< null if absent
  const char* meta;       ///< null if absent
};
static_assert(offsetof(cirrel_upload_request, path) == 8 &&
              offsetof(cirrel_upload_request, meta) == 24);

struct cirrel_upload_status {
  std::uint32_t state;
  std::uint32_t value;
  std::uint64_t detail;  ///< only its being non-zero counts
  const char* text;      ///< may be null
};
static_assert(offsetof(cirrel_upload_status, value) == 4 &&
              offsetof(cirrel_upload_status, detail) == 8);
static_assert(offsetof(cirrel_upload_status, text) == 16);

using cirrel_upload_callback = std::uint32_t (*)(const cirrel_upload_status* status, void* context);
using cirrel_cloud_up_callback = void (*)(void* context);

/// Who registers for pushes. Texts may be empty, and are the library's to read during the call.
struct cirrel_push_source {
  const char* user_token;
  const char* app_id;
  const char* device_id;
};
static_assert(offsetof(cirrel_push_source, app_id) == 8 &&
              offsetof(cirrel_push_source, device_id) == 16);

/// Whose pushes are meant.
struct cirrel_push_destination {
  const char* app_id;
  const char* device_id;
};
static_assert(offsetof(cirrel_push_destination, device_id) == 8);

/// Gets a push on a thread of the library, possibly on several at once. The response stays the
/// library's and lasts for the call; its size counts, not a terminator.
using cirrel_push_callback = void (*)(const cirrel_response* response, void* context);

/// Copied by the library.
struct cirrel_push_callbacks {
  cirrel_push_callback on_done;  ///< its meaning is the library's; never null
  cirrel_push_callback on_event;
  void* context;  ///< handed to both
};
static_assert(offsetof(cirrel_push_callbacks, on_event) == 8 &&
              offsetof(cirrel_push_callbacks, context) == 16);

inline constexpr std::uint32_t ZVCIRREL_OPT_CLOUD_INIT = 1;
inline constexpr std::uint32_t ZVCIRREL_OPT_ADD_CLOUD_UP_CB = 9;
inline constexpr std::uint32_t ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB = 10;
inline constexpr std::uint32_t ZVCIRREL_OPT_PROXY = 12;
inline constexpr std::uint32_t ZVCIRREL_OPT_UPLOAD_A = 14;
inline constexpr std::uint32_t ZVCIRREL_OPT_UPLOAD_TIMEOUT = 16;
inline constexpr std::uint32_t ZVCIRREL_OPT_UPLOAD_B = 20;
inline constexpr std::uint32_t ZVCIRREL_OPT_LOCAL_CLOUD = 28;
inline constexpr std::uint32_t ZVCIRREL_OPT_CLOUD_STATUS = 31;
inline constexpr std::uint32_t ZVCIRREL_OPT_SSL = 34;
inline constexpr std::uint32_t ZVCIRREL_OPT_LOCAL_CLOUD_PROXY = 39;

/// One load of the library and its 36 functions, in the order of the library's own table; those
/// that this module never calls are untyped. Filled by load_cirrel_client alone.
struct cirrel_client {
  using unused = void*;

  platform::module_handle module;
  std::uint32_t (*zvcirrel_init)(void** instance);
  std::uint32_t (*zvcirrel_uninit)(void* instance);
  unused zvcirrel_push_info;
  unused zvcirrel_push_json;
  unused zvcirrel_push_bin;
  std::uint32_t (*zvcirrel_ask)(void* instance, const cirrel_ask_request* request,
                                cirrel_response** response);
  unused zvcirrel_ask_json;
  unused zvcirrel_ask_bin;
  unused zvcirrel_ask_async;
  unused zvcirrel_ask_json_async;
  unused zvcirrel_ask_bin_async;
  std::uint32_t (*zvcirrel_free_response)(cirrel_response* response);
  unused zvcirrel_text;
  std::uint32_t (*zvcirrel_set_option)(void* instance, std::uint32_t option, ...);
  unused zvcirrel_set_optionv;
  std::uint32_t (*zvcirrel_get_option)(void* instance, std::uint32_t option, void* out);
  unused zvcirrel_dup_option;
  unused zvcirrel_free_option;
  std::uint32_t (*zvcirrel_file_upload)(void* instance, const cirrel_upload_request* request,
                                        cirrel_upload_callback callback, void* context);
  unused zvcirrel_file_upload_async;
  unused zvcirrel_mem_upload;
  unused zvcirrel_mem_upload_async;
  unused zvcirrel_json_alloc;
  unused zvcirrel_json_free;
  unused zvcirrel_json_object;
  unused zvcirrel_json_path;
  unused zvcirrel_json_foreach;
  unused zvcirrel_json_array_at;
  unused zvcirrel_json_array_size;
  unused zvcirrel_json_string;
  unused zvcirrel_json_long;
  unused zvcirrel_json_real;
  unused zvcirrel_json_type_of;
  /// Has pushes of `topic` for the destination come to the callbacks, for the instance's life:
  /// there is no way back.
  std::uint32_t (*connect_register)(void* instance, const cirrel_push_source* source,
                                    const cirrel_push_destination* destination, const char* topic,
                                    const char* transport, const cirrel_push_callbacks* callbacks);
  unused zvcirrel_gen_upload;
  unused zvcirrel_gen_upload_async;
};
static_assert(sizeof(cirrel_client) == 37 * sizeof(void*));

/// Loads the library by its bare name and binds every function. Null if the library, any one of its
/// functions, or memory is missing. Nothing is logged. Given back by unload_cirrel_client.
cirrel_client* load_cirrel_client();
void unload_cirrel_client(cirrel_client* client) noexcept;

/// A client instance of its own: library, instance, cloud initialisation. On failure `client` is
/// null and nothing is held; otherwise both belong to the caller, who gives them back by
/// destroy_client_instance.
void create_client_instance(cirrel_client*& client, void*& instance);
void destroy_client_instance(cirrel_client*& client, void*& instance) noexcept;
