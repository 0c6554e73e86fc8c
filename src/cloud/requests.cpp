#include "cloud/requests.h"

#include <new>

#include "_base/win_error.h"
#include "frame/logger_stream.h"
#include "frame/trace_scope.h"
#include "guardian/guarded_resolver.h"

namespace cloud {

void* requests::QueryInterface(const IID& id) {
  if (id == IID_ICloudRequestsCompatibility) return static_cast<ICloudRequestsCompatibility*>(this);
  if (id == IID_ICloudRequests || id == IID_IServPlugin || id == IID_IZvBaseInterface) {
    return static_cast<ICloudRequests*>(this);
  }
  return nullptr;
}

std::uint32_t requests::Init(IServMain* host) {
  const wchar_t* const scope = L"cloud::requests::Init";
  const trace_scope trace(scope);
  const std::lock_guard guard(mutex);
  if (init_count++ != 0) return win_error::success;

  if (const std::uint32_t error = ICloudRequests::Init(host); error != win_error::success) {
    // The count stays: a host without its services is not tried again before an UnInit.
    LOG_LINE(logging::failure, scope) << L"Failed to init base class; err = " << error;
    return error;
  }

  cirrel = cirrel_service::init();
  if (cirrel == nullptr) {
    LOG_LINE(logging::failure, scope) << L"Failed to get cirrel instance";
    UnInit();  // brings the count back to 0, so that a later Init tries anew
    return win_error::gen_failure;
  }
  cirrel->set_cloud_cbk(cloud_up_notification, this);
  try {
    resolver =
        host != nullptr
            ? std::make_unique<guardian::guarded_resolver>(cirrel->client, cirrel->instance, host)
            : std::make_unique<guardian::guarded_resolver>(cirrel->client, cirrel->instance);
  } catch (const std::bad_alloc&) {
    UnInit();  // there must be no running state without a chain
    return win_error::out_of_memory;
  }
  LoadProxySupport();  // last: the first settings arrive within, and need the chain
  return win_error::success;
}

std::uint32_t requests::UnInit() {
  const trace_scope trace(L"cloud::requests::UnInit");
  const std::lock_guard guard(mutex);
  // Below 2 and not equal to 1: an UnInit without an Init tears down as well, and the count wraps.
  if (init_count-- >= 2) return win_error::success;

  FreeProxySupport();  // first: no change of the proxy may find a chain that is ending
  // The chain goes before the shared instance that it asks through.
  resolver.reset();
  if (cirrel != nullptr && cirrel->client != nullptr && cirrel->instance != nullptr) {
    // No notification may find this object once the instance has another owner or none.
    cirrel->client->zvcirrel_set_option(cirrel->instance, ZVCIRREL_OPT_REMOVE_CLOUD_UP_CB,
                                        &requests::cloud_up_notification);
  }
  cirrel.reset();
  return ICloudRequests::UnInit();
}

std::uint32_t requests::Start() {
  return ICloudRequests::Start();
}

void requests::Stop() {
  ICloudRequests::Stop();
}

void* requests::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

std::uint32_t requests::resolve(const upload_request& request, upload_observer* observer) {
  return resolver->resolve(request, observer);
}

request_status* requests::resolve(request_status* result, const technology_request& request,
                                  request_reply& reply) {
  *result = resolver->resolve(request, reply);
  return result;
}

request_status* requests::resolve(request_status* result, const connect_request& request,
                                  request_reply& reply) {
  *result = resolver->resolve(request, reply);
  return result;
}

std::uint32_t requests::set_proxy(const proxy_settings& settings, proxy_target target) {
  return resolver->set_proxy(settings, target);
}

std::uint32_t requests::disable_proxy(proxy_target target) {
  const std::uint32_t error = resolver->disable_proxy(target);
  LOG_LINE(logging::progress, L"cloud::requests::disable_proxy") << L" err: " << error;
  return error;
}

bool requests::is_cloud_up() {
  return cirrel->is_cloud_up();
}

bool requests::add_observer(ICloudConnectionObserver* observer, std::uint64_t context) {
  // Before the registration, and for an observer that is then refused as well.
  const bool was_up = is_cloud_up();
  if (was_up) observer->OnNetworkAvailable();
  const bool is_added = observable::add_observer(observer, context);
  // A cloud that came in between has told everybody but this one, and won't say it again.
  if (is_added && !was_up && is_cloud_up()) observer->OnNetworkAvailable();
  return is_added;
}

void requests::cloud_up_notification(void* context) {
  if (context == nullptr) return;
  LOG_LINE(logging::progress, L"cloud::requests::cloud_up_notification")
      << L"Cloud up notification";
  static_cast<requests*>(context)->observers.notify(
      [](ICloudConnectionObserver* observer) { observer->OnNetworkAvailable(); });
}

}  // namespace cloud
