#pragma once

#include <cstdarg>
#include <cstdint>

#include "cloud/cirrel_client.h"

/// What stands behind the test's client library. The library itself only forwards, so that one
/// recorder serves the loaded library and a table of functions built by a test.
namespace zvnc {

/// Through which functions a call came: those of the loaded library, or of a test's own table.
enum class Road : std::uint8_t { library, table };

/// A set_option, its variable arguments read by the option's number. Pointers live for the call.
struct OptionCall {
  enum class Kind : std::uint8_t { number, text, proxy, callback, callback_and_context, unknown };

  std::uint32_t option = 0;
  Kind kind = Kind::unknown;
  std::uint32_t number = 0;
  const char* texts[3] = {};
  cirrel_cloud_up_callback callback = nullptr;
  void* context = nullptr;
};

inline OptionCall read_option(std::uint32_t option, std::va_list arguments) {
  OptionCall call;
  call.option = option;
  switch (option) {
    case ZVCIRREL_OPT_CLOUD_INIT:
    case ZVCIRREL_OPT_UPLOAD_A:
    case ZVCIRREL_OPT_UPLOAD_TIMEOUT:
    case ZVCIRREL_OPT_UPLOAD_B:
    case ZVCIRREL_OPT_SSL:
      call.kind = OptionCall::Kind::number;
      call.number = va_arg(arguments, std::uint32_t);
      break;
    case ZVCIRREL_OPT_LOCAL_CLOUD:
      call.kind = OptionCall::Kind::text;
      call.texts[0] = va_arg(arguments, const char*);
      break;
    case ZVCIRREL_OPT_PROXY:
    case ZVCIRREL_OPT_LOCAL_CLOUD_PROXY:
      call.kind = OptionCall::Kind::proxy;
      for (const char*& text : call.texts) text = va_arg(arguments, const char*);
      break;
    case ZVCIRREL_OPT_ADD_CLOUD_UP_CB:
      call.kind = OptionCall::Kind::callback_and_context;
      call.callback = va_arg(arguments, cirrel_cloud_up_callback);
      call.context = va_arg(arguments, void*);
      break;
    case ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB:
      call.kind = OptionCall::Kind::callback;
      call.callback = va_arg(arguments, cirrel_cloud_up_callback);
      break;
    default:
      break;
  }
  return call;
}

/// Called from any thread.
class Backend {
 public:
  virtual std::uint32_t init(Road road, void** instance) = 0;
  virtual std::uint32_t uninit(Road road, void* instance) = 0;
  virtual std::uint32_t ask(Road road, void* instance, const cirrel_ask_request* request,
                            cirrel_response** response) = 0;
  virtual std::uint32_t free_response(Road road, cirrel_response* response) = 0;
  virtual std::uint32_t set_option(Road road, void* instance, const OptionCall& call) = 0;
  virtual std::uint32_t get_option(Road road, void* instance, std::uint32_t option, void* out) = 0;
  virtual std::uint32_t file_upload(Road road, void* instance, const cirrel_upload_request* request,
                                    cirrel_upload_callback callback, void* context) = 0;
  virtual std::uint32_t connect_register(Road road, void* instance,
                                         const cirrel_push_source* source,
                                         const cirrel_push_destination* destination,
                                         const char* topic, const char* transport,
                                         const cirrel_push_callbacks* callbacks) = 0;

 protected:
  ~Backend() = default;
};

/// The library's one export beyond the product's: directs its calls to `backend`, null for none.
/// Without one every function answers 31.
using set_backend_t = void (*)(Backend* backend);
inline constexpr const char* set_backend_name = "zvnc_set_backend";

}  // namespace zvnc
