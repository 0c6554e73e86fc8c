#include "connect/connect_requests.h"

#include <string_view>
#include <utility>

#include "_base/win_error.h"
#include "frame/host_paths.h"
#include "frame/trace_scope.h"

namespace cloud::connect {

namespace {

using connection_observable = zv::iobservable<ICloudConnectionObserver*>;

/// The plug-in's interface has no way to ask for its observable facet; what every such plug-in has
/// is the place of it, right behind the interface's own fields.
connection_observable* observable_of(ICloudRequests* requests) {
  static_assert(sizeof(ICloudRequests) == 32);
  return reinterpret_cast<connection_observable*>(reinterpret_cast<char*>(requests) +
                                                  sizeof(ICloudRequests));
}

/// With room for what is usually written there. Without it a writer makes its own.
void make_room(text& field) {
  static_cast<void>(field.Reserve(text::default_grow_step));
}

/// Of this product, device and user, whatever `source` was. False while the user is unknown.
bool identify(connect_source& source, IAuthDataProvider& provider) {
  // Asked anew each time. A product without an identifier may send all the same.
  source.app_id = text(std::string_view(get_product_app_id()));

  auth_data known;
  make_room(known.device_id);
  make_room(known.user_token);
  // The status isn't read, since empty texts tell the same. They also take the place of what the
  // caller wrote: a token of its own must not get past a user who isn't there.
  provider.GetAuthData(known);
  source.device_id = known.device_id;
  source.user_token = known.user_token;
  return !source.device_id.IsEmpty() && !source.user_token.IsEmpty();
}

constexpr request_status no_identity = {1, win_error::no_data};

}  // namespace

connect_requests::connect_requests(plugin_handle<ICloudRequests> cloud_requests,
                                   IAuthDataProvider* auth_provider)
    : cloud_requests_(std::move(cloud_requests)), auth_provider_(auth_provider) {}

bool connect_requests::add_observer(ICloudConnectionObserver* observer, std::uint64_t context) {
  return observable_of(cloud_requests_.get())->add_observer(observer, context);
}

bool connect_requests::remove_observer(ICloudConnectionObserver* observer, std::uint64_t context) {
  return observable_of(cloud_requests_.get())->remove_observer(observer, context);
}

request_status* connect_requests::resolve(request_status* result, const connect_request& request,
                                          request_reply& reply, bool fill_source) {
  const trace_scope trace(L"cloud::connect::connect_requests::resolve");
  if (!fill_source) return cloud_requests_->resolve(result, request, reply);

  *result = no_identity;
  if (auth_provider_ == nullptr) return result;
  connect_request identified = request;
  if (!identify(identified.source, *auth_provider_)) return result;
  return cloud_requests_->resolve(result, identified, reply);
}

bool connect_requests::is_cloud_up() {
  return cloud_requests_->is_cloud_up();
}

request_status* connect_requests::resolve(request_status* result, const connect_request& request,
                                          request_reply& reply) {
  return resolve(result, request, reply, false);
}

}  // namespace cloud::connect
