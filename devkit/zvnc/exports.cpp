// The client library's C functions. None lets an exception out: whoever called is a stranger.

#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <mutex>
#include <new>

#include "_base/abi.h"
#include "cloud/cirrel_client.h"
#include "devkit/common/Immortal.h"
#include "devkit/zvnc/Instance.h"
#include "devkit/zvnc/status.h"

namespace {

namespace status = zvnc::status;

/// The living instances. A call holds its instance, so that one can end while others are inside.
class Registry {
 public:
  std::shared_ptr<zvnc::Instance> find(void* handle) {
    const std::lock_guard guard(mutex_);
    const auto found = instances_.find(handle);
    return found != instances_.end() ? found->second : nullptr;
  }

  void* add(std::shared_ptr<zvnc::Instance> instance) {
    void* const handle = instance.get();
    const std::lock_guard guard(mutex_);
    instances_.emplace(handle, std::move(instance));
    return handle;
  }

  void remove(void* handle) {
    const std::lock_guard guard(mutex_);
    instances_.erase(handle);
  }

 private:
  std::mutex mutex_;
  std::map<void*, std::shared_ptr<zvnc::Instance>> instances_;
};

/// Instances that nobody ended have threads, which a library's end must not wait for.
Registry& registry() {
  static devkit::Immortal<Registry> one;
  return one.get();
}

template <class Call>
std::uint32_t guarded(Call call) noexcept {
  try {
    return call();
  } catch (const std::bad_alloc&) {
    return status::out_of_memory;
  } catch (...) {
    return status::internal;
  }
}

template <class Call>
std::uint32_t on_instance(void* handle, Call call) noexcept {
  return guarded([&] {
    const auto instance = registry().find(handle);
    return instance ? call(*instance) : status::invalid_argument;
  });
}

/// In one block with its text, given back by one free.
cirrel_response* make_response(const std::string& text) {
  auto* const memory = static_cast<char*>(std::malloc(sizeof(cirrel_response) + text.size() + 1));
  if (memory == nullptr) throw std::bad_alloc();
  char* const copy = memory + sizeof(cirrel_response);
  std::memcpy(copy, text.c_str(), text.size() + 1);
  return new (memory) cirrel_response{nullptr, copy, text.size()};
}

std::uint32_t set_callback(zvnc::Instance& instance, std::uint32_t option,
                           cirrel_cloud_up_callback callback, void* context) {
  if (callback == nullptr) return status::invalid_argument;
  if (option == ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB) {
    return instance.callbacks().remove(callback) ? status::ok : status::invalid_argument;
  }
  instance.callbacks().add(callback, context);
  return status::ok;
}

bool is(const char* text, const char* expected) {
  return text != nullptr && std::strcmp(text, expected) == 0;
}

/// The first of the two that isn't empty.
const char* first_of(const char* one, const char* other) {
  return *one != '\0' ? one : other;
}

/// Reads what the option takes, and no more.
std::uint32_t set_option(zvnc::Instance& instance, std::uint32_t option, va_list arguments) {
  switch (option) {
    case ZVCIRREL_OPT_ADD_CLOUD_UP_CB: {
      const auto callback = va_arg(arguments, cirrel_cloud_up_callback);
      return set_callback(instance, option, callback, va_arg(arguments, void*));
    }
    case ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB:
      return set_callback(instance, option, va_arg(arguments, cirrel_cloud_up_callback), nullptr);
    case ZVCIRREL_OPT_PROXY:
    case ZVCIRREL_OPT_LOCAL_CLOUD_PROXY: {
      const char* const proxy = va_arg(arguments, const char*);
      const char* const user = va_arg(arguments, const char*);
      return instance.set_proxy(option, proxy, user, va_arg(arguments, const char*));
    }
    case ZVCIRREL_OPT_LOCAL_CLOUD:
      return instance.set_local_server(va_arg(arguments, const char*));
    case ZVCIRREL_OPT_CLOUD_INIT:
    case ZVCIRREL_OPT_UPLOAD_A:
    case ZVCIRREL_OPT_UPLOAD_B:
    case ZVCIRREL_OPT_UPLOAD_TIMEOUT:
    case ZVCIRREL_OPT_SSL:
      return instance.set_number(option, va_arg(arguments, std::uint32_t));
    default:
      return status::unknown_option;
  }
}

}  // namespace

ABI_EXPORT std::uint32_t zvcirrel_init(void** instance) {
  if (instance == nullptr) return status::invalid_argument;
  *instance = nullptr;
  return guarded([&] {
    *instance = registry().add(std::make_shared<zvnc::Instance>());
    return status::ok;
  });
}

ABI_EXPORT std::uint32_t zvcirrel_uninit(void* handle) {
  return on_instance(handle, [&](zvnc::Instance& instance) {
    const std::uint32_t result = instance.close();
    if (result == status::ok) registry().remove(handle);
    return result;
  });
}

ABI_EXPORT std::uint32_t zvcirrel_ask(void* handle, const cirrel_ask_request* request,
                                      cirrel_response** response) {
  if (response == nullptr) return status::invalid_argument;
  *response = nullptr;
  if (request == nullptr || request->service == nullptr ||
      (request->data == nullptr && request->size != 0)) {
    return status::invalid_argument;
  }
  return on_instance(handle, [&](zvnc::Instance& instance) {
    std::string answer;
    const std::uint32_t result = instance.ask(*request, answer);
    if (result == status::ok) *response = make_response(answer);
    return result;
  });
}

ABI_EXPORT std::uint32_t connect_register(void* handle, const cirrel_push_source* source,
                                          const cirrel_push_destination* destination,
                                          const char* topic, const char* transport,
                                          const cirrel_push_callbacks* callbacks) {
  if (source == nullptr || source->user_token == nullptr || source->app_id == nullptr ||
      source->device_id == nullptr || destination == nullptr || destination->app_id == nullptr ||
      destination->device_id == nullptr || callbacks == nullptr || callbacks->on_done == nullptr ||
      callbacks->on_event == nullptr || !is(topic, "event") || !is(transport, "secure_web")) {
    return status::invalid_argument;
  }
  return on_instance(handle, [&](zvnc::Instance& instance) {
    return instance.register_for_pushes({first_of(destination->app_id, source->app_id),
                                         first_of(destination->device_id, source->device_id)},
                                        source->user_token, *callbacks);
  });
}

ABI_EXPORT std::uint32_t zvcirrel_free_response(cirrel_response* response) {
  std::free(response);
  return status::ok;
}

ABI_EXPORT std::uint32_t zvcirrel_set_option(void* handle, std::uint32_t option, ...) {
  va_list arguments;
  va_start(arguments, option);
  const std::uint32_t result = on_instance(
      handle, [&](zvnc::Instance& instance) { return set_option(instance, option, arguments); });
  va_end(arguments);
  return result;
}

ABI_EXPORT std::uint32_t zvcirrel_set_optionv(void* handle, std::uint32_t option,
                                              va_list arguments) {
  if (arguments == nullptr) return status::invalid_argument;
  return on_instance(
      handle, [&](zvnc::Instance& instance) { return set_option(instance, option, arguments); });
}

ABI_EXPORT std::uint32_t zvcirrel_get_option(void* handle, std::uint32_t option, void* out) {
  if (out == nullptr) return status::invalid_argument;
  return on_instance(handle, [&](zvnc::Instance& instance) {
    return instance.get_number(option, *static_cast<std::uint32_t*>(out));
  });
}

ABI_EXPORT std::uint32_t zvcirrel_file_upload(void* handle, const cirrel_upload_request* request,
                                              cirrel_upload_callback callback, void* context) {
  if (request == nullptr || request->service == nullptr || request->path == nullptr) {
    return status::invalid_argument;
  }
  return on_instance(handle, [&](zvnc::Instance& instance) {
    return instance.upload(*request, callback, context);
  });
}

ABI_EXPORT const char* zvcirrel_text(std::uint32_t number) {
  return status::text(number);
}
