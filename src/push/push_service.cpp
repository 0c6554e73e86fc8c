// Who is registered for what, here and with the cloud.

#include "push/push_service.h"

#include <algorithm>

#include "_base/win_error.h"
#include "frame/logger_stream.h"
#include "push/comm/sending.h"
#include "push/push_gate.h"

namespace cloud::push {

namespace {

std::string key_of(const connect_source& source) {
  return std::string(source.app_id.view());
}

const zv::StringT<char>& first_not_empty(const zv::StringT<char>& preferred,
                                         const zv::StringT<char>& otherwise) {
  return preferred.IsEmpty() ? otherwise : preferred;
}

/// Adds the callback at the end. False if it is there already.
template <class Table, class Callback>
bool add(Table& table, const std::string& app_id, Callback callback, void* context) {
  const callback_entry<Callback> entry{callback, context};
  // Made before its application: one without any callback would count as known for ever.
  std::list<callback_entry<Callback>> added{entry};
  auto& entries = table[app_id];
  if (std::find(entries.begin(), entries.end(), entry) != entries.end()) return false;
  entries.splice(entries.end(), added);
  return true;
}

/// Removes the callback, and the application with its last one.
template <class Table, class Callback>
void remove(Table& table, const std::string& app_id, Callback callback, void* context) {
  const auto found = table.find(app_id);
  if (found == table.end()) return;
  found->second.remove(callback_entry<Callback>{callback, context});
  if (found->second.empty()) table.erase(found);
}

void log_topic(const wchar_t* function, const wchar_t* what, const std::string& app_id) {
  LOG_LINE(logging::progress, function) << what << app_id;
}

constexpr const wchar_t* already_registered = L"Topic already registered for ";
constexpr const wchar_t* newly_registered = L"Topic registered for ";

void on_registration_done(const cirrel_response*, void*) {}

}  // namespace

push_service::push_service(cirrel_client* client, void* instance,
                           IConnectRequests* connect_requests, IAuthDataProvider* auth_provider)
    : client_(client),
      instance_(instance),
      connect_requests_(connect_requests),
      worker_("push_service_worker") {
  if (auth_provider != nullptr) {
    auth_data known;
    if (auth_provider->GetAuthData(known) == win_error::success) {
      identity_.device_id = known.device_id;
      identity_.user_token = known.user_token;
    }
  }
  push_gate::open(this);
}

push_service::~push_service() {
  push_gate::close(this);  // first: no push may find tables that are going
  worker_.CancelPending();
  worker_.Stop();
  {
    const std::lock_guard guard(events_lock_);
    events_.clear();
  }
  const std::lock_guard guard(commands_lock_);
  commands_.clear();
}

void* push_service::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

stdext::expected<connect_source, std::uint32_t> push_service::get_auth_data(
    const connect_source& source) {
  connect_source sender = source;
  if (sender.app_id.IsEmpty()) sender.app_id = comm::get_default_app_id().c_str();
  if (sender.app_id.IsEmpty()) return stdext::unexpected{win_error::no_data};
  if (!sender.device_id.IsEmpty() && !sender.user_token.IsEmpty()) return sender;

  // Half an identity is none: what the caller gave of it is lost.
  const std::lock_guard guard(identity_lock_);
  if (identity_.device_id.IsEmpty() || identity_.user_token.IsEmpty()) {
    return stdext::unexpected{win_error::no_data};
  }
  sender.device_id = identity_.device_id;
  sender.user_token = identity_.user_token;
  return sender;
}

std::uint32_t push_service::register_push_events_callback(const event_callback& callback,
                                                          void* context,
                                                          const connect_source& source,
                                                          const connect_destination& dest) {
  const auto sender = get_auth_data(source);
  if (!sender) {
    LOG_LINE(logging::failure, L"cloud::push::push_service::register_push_events_callback")
        << L"No auth data";
    return win_error::invalid_data;
  }
  register_internal_once(sender.value());

  const register_result result = register_push_event(callback, context, sender.value(), dest);
  const std::uint32_t error = register_with_cloud(result, sender.value(), false);
  // The whole application, and without the lock. Both are meant: the cloud knows nothing of it, so
  // nobody else's registration is any better, and the next one tries again.
  if (error != win_error::success) events_.erase(key_of(sender.value()));
  return error;
}

std::uint32_t push_service::register_push_commands_callback(const command_callback& callback,
                                                            void* context,
                                                            const connect_source& source,
                                                            const connect_destination& dest) {
  const auto sender = get_auth_data(source);
  if (!sender) {
    LOG_LINE(logging::failure, L"cloud::push::push_service::register_push_commands_callback")
        << L"No auth data";
    return win_error::invalid_data;
  }
  register_internal_once(sender.value());

  const register_result result = register_push_command(callback, context, sender.value(), dest);
  const std::uint32_t error = register_with_cloud(result, sender.value(), true);
  // As for events, and meant as there.
  if (error != win_error::success) commands_.erase(key_of(sender.value()));
  return error;
}

void push_service::unregister_push_events_callback(const event_callback& callback, void* context,
                                                   const connect_source& source,
                                                   const connect_destination&) {
  const auto sender = get_auth_data(source);
  if (!sender) {
    LOG_LINE(logging::failure, L"cloud::push::push_service::unregister_push_events_callback")
        << L"No auth data";
    return;
  }
  // The cloud goes on sending: it knows no way back. What nobody wants falls through.
  const std::lock_guard guard(events_lock_);
  remove(events_, key_of(sender.value()), callback, context);
}

void push_service::unregister_push_commands_callback(const command_callback& callback,
                                                     void* context, const connect_source& source,
                                                     const connect_destination&) {
  const auto sender = get_auth_data(source);
  if (!sender) {
    LOG_LINE(logging::failure, L"cloud::push::push_service::unregister_push_commands_callback")
        << L"No auth data";
    return;
  }
  const std::lock_guard guard(commands_lock_);
  remove(commands_, key_of(sender.value()), callback, context);
}

push_service::register_result push_service::register_push_event(const event_callback& callback,
                                                                void* context,
                                                                const connect_source& sender,
                                                                const connect_destination& dest) {
  const wchar_t* const function = L"cloud::push::push_service::register_push_event";
  const std::string app_id = key_of(sender);
  const std::lock_guard guard(events_lock_);
  const bool is_known = events_.find(app_id) != events_.end();
  add(events_, app_id, callback, context);
  if (is_known) {
    log_topic(function, already_registered, app_id);
    return {};
  }
  log_topic(function, newly_registered, app_id);
  return {"event", std::string(first_not_empty(dest.device_id, sender.device_id).view())};
}

push_service::register_result push_service::register_push_command(const command_callback& callback,
                                                                  void* context,
                                                                  const connect_source& sender,
                                                                  const connect_destination& dest) {
  const wchar_t* const function = L"cloud::push::push_service::register_push_command";
  const std::string app_id = key_of(sender);
  const std::lock_guard guard(commands_lock_);
  const bool is_known = commands_.find(app_id) != commands_.end();
  const bool is_new_callback = add(commands_, app_id, callback, context);
  if (is_known) {
    // A callback that comes late gets what came before it; one that is there has had it.
    if (is_new_callback) send_offline_commands(sender, callback, context);
    log_topic(function, already_registered, app_id);
    return {};
  }
  get_offline_commands(app_id);

  const std::lock_guard events_guard(events_lock_);
  if (events_.find(app_id) != events_.end()) {
    // One registration with the cloud serves both kinds of pushes.
    log_topic(function, newly_registered, app_id);
    return {};
  }
  return {"event", std::string(first_not_empty(dest.app_id, sender.app_id).view())};
}

std::uint32_t push_service::register_with_cloud(const register_result& result,
                                                const connect_source& sender, bool is_command) {
  // Without the network refresh_push_listeners does it, once there is one.
  if (result.type.empty() || network_ready_ == 0) return win_error::success;
  // The caller's destination application doesn't reach the cloud, the sender's takes its place.
  // Meant so.
  connect_destination destination;
  destination.device_id = result.first_target.c_str();
  return generic_register(sender, destination, is_command);
}

std::uint32_t push_service::generic_register(const connect_source& sender,
                                             const connect_destination& destination,
                                             bool is_command) {
  const auto& app_id =
      is_command ? sender.app_id : first_not_empty(destination.app_id, sender.app_id);
  const auto& device_id =
      is_command ? sender.device_id : first_not_empty(destination.device_id, sender.device_id);
  const cirrel_push_source from{sender.user_token.c_str(), sender.app_id.c_str(),
                                sender.device_id.c_str()};
  const cirrel_push_destination to{app_id.c_str(), device_id.c_str()};
  const cirrel_push_callbacks callbacks{on_registration_done, push_event, this};
  const std::uint32_t error =
      client_->connect_register(instance_, &from, &to, "event", "secure_web", &callbacks);
  LOG_LINE(logging::progress, L"cloud::push::push_service::generic_register")
      << L"register to push err: " << error;
  return error;
}

void push_service::register_internal_once(const connect_source& sender) {
  // noexcept, so that a failure ends the process: half an initialisation is never tried again.
  std::call_once(internal_event_once_, [&]() noexcept { register_internal_push_event(sender); });
}

void push_service::register_internal_push_event(const connect_source& sender) {
  const event_callback callback = [](const event_info& event, void* context) {
    if (context != nullptr) static_cast<push_service*>(context)->on_internal_event(event);
  };
  const register_result result = register_push_event(callback, this, sender, {});
  if (register_with_cloud(result, sender, false) == win_error::success) return;
  const std::lock_guard guard(events_lock_);
  events_.erase(key_of(sender));
}

void push_service::refresh_push_listeners(connect_source identity) {
  {
    const std::lock_guard guard(identity_lock_);
    identity_ = identity;
  }
  {
    // Held while the cloud is told, so that no application comes or goes unseen. Meant so.
    const std::lock_guard guard(events_lock_);
    for (const auto& [app_id, entries] : events_) {
      identity.app_id = app_id.c_str();
      generic_register(identity, {}, false);
    }
  }
  const std::lock_guard guard(commands_lock_);
  for (const auto& [app_id, entries] : commands_) {
    // Not this application but the one that was registered last, and without the events lock. Both
    // are meant, and so is what follows: where there are applications with events, the commands of
    // the last of them are listed and no others, and applications with commands alone aren't
    // registered anew.
    if (events_.find(key_of(identity)) != events_.end()) {
      get_offline_commands(key_of(identity));
      return;
    }
    identity.app_id = app_id.c_str();
    if (generic_register(identity, {}, true) == win_error::success) get_offline_commands(app_id);
  }
}

}  // namespace cloud::push
