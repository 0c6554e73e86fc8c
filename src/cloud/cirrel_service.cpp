#include "cloud/cirrel_service.h"

#include <mutex>

#include "frame/logger_stream.h"

namespace {

std::mutex singleton_mutex;
std::weak_ptr<cirrel_service> singleton;  // guarded by singleton_mutex

std::shared_ptr<cirrel_service> make_service() {
  auto service = std::make_shared<cirrel_service>();
  service->client = load_cirrel_client();
  if (service->client == nullptr) return nullptr;

  const std::uint32_t error = service->client->zvcirrel_init(&service->instance);
  if (error != 0) {
    LOG_LINE(logging::failure, L"cirrel_service::init")
        << L"Could not init cirrel instance, err: " << error;
    service->instance = nullptr;  // whatever a failed call left there is not to be ended
    return nullptr;
  }
  service->client->zvcirrel_set_option(service->instance, ZVCIRREL_OPT_CLOUD_INIT, 1);
  return service;
}

}  // namespace

cirrel_service::~cirrel_service() {
  destroy_client_instance(client, instance);
}

std::shared_ptr<cirrel_service> cirrel_service::init() {
  const std::lock_guard guard(singleton_mutex);
  if (auto living = singleton.lock()) return living;
  auto service = make_service();
  singleton = service;
  return service;
}

void cirrel_service::set_cloud_cbk(cirrel_cloud_up_callback callback, void* context) {
  if (client == nullptr || instance == nullptr) return;
  const std::uint32_t result =
      client->zvcirrel_set_option(instance, ZVCIRREL_OPT_ADD_CLOUD_UP_CB, callback, context);
  LOG_LINE(logging::progress, L"cirrel_service::set_cloud_cbk")
      << L"set_option ZVCIRREL_OPT_ADD_CLOUD_UP_CB ret=" << result;
}

bool cirrel_service::is_cloud_up() {
  if (client == nullptr || instance == nullptr) return false;
  std::int32_t status = 0;
  const std::uint32_t error =
      client->zvcirrel_get_option(instance, ZVCIRREL_OPT_CLOUD_STATUS, &status);
  if (error != 0) {
    LOG_LINE(logging::failure, L"cirrel_service::is_cloud_up")
        << L"Could not get cloud status, err: " << error;
    return true;
  }
  return status == 0;
}
