// How the client follows the server: what it hears of it on the bus, and what it sends it then.

#include <memory>
#include <string>
#include <string_view>

#include "frame/get_msgbus.h"
#include "frame/logger_stream.h"
#include "frame/shield_caller.h"
#include "push/comm/bus_channel.h"
#include "push/comm/sending.h"
#include "push/push_service_client.h"

namespace cloud::push {

namespace {

/// The server announces this listener first of all, and loses it by its end, whichever that is.
bool is_the_server(const char* channel, const char* listener) {
  return channel != nullptr && listener != nullptr &&
         std::string_view(channel) == comm::actions_channel &&
         std::string_view(listener) == comm::register_listener;
}

/// Each application of the table but the default one, which is registered with the subscription.
template <class Callback, class Register>
void register_others(const app_id_table<Callback>& table, const std::string& default_app_id,
                     Register send) {
  for (const auto& [app_id, entries] : table) {
    // Whether one arrives isn't looked at: the next refresh sends them all again.
    if (app_id.view() != default_app_id) send(nullptr, nullptr, {app_id, {}, {}}, {});
  }
}

}  // namespace

void push_service_client::initialize_bus_observer() {
  const wchar_t* const function = L"cloud::push::push_service_client::initialize_bus_observer";
  bus_ = get_msgbus();
  if (bus_ == nullptr) {
    LOG_LINE(logging::failure, function) << L"Could not get msgbus";
  } else if (!bus_->AddObserver(this, 0)) {
    LOG_LINE(logging::failure, function) << L"Could not add bus observer";
  }
}

void push_service_client::start_management() {
  // Without any of the locks: a running server answers the subscription at once, and the answer
  // takes them.
  std::call_once(management_once_, [this] {
    management_handle_ = comm::start_receiving_management_events(
        [](void* context) {
          if (context != nullptr) static_cast<push_service_client*>(context)->on_server_up();
        },
        this);
  });
}

void push_service_client::on_new_listener(void*, const char* channel, const char* listener) {
  if (!is_the_server(channel, listener)) return;
  LOG_LINE(logging::progress, L"cloud::push::push_service_client::on_new_listener")
      << L"Push server is up";
  server_up_.exchange(1);
  // What isn't registered for want of memory is when the server comes the next time.
  shield_caller([&] { refresh_listeners(); });
}

void push_service_client::on_listener_removed(void*, const char* channel, const char* listener) {
  if (!is_the_server(channel, listener)) return;
  LOG_LINE(logging::progress, L"cloud::push::push_service_client::on_listener_removed")
      << L"Push server is down";
  lose_server();
}

void push_service_client::lose_server() {
  // Before the handles, so that no registration in between subscribes anew to nobody.
  server_up_.exchange(0);
  {
    const std::lock_guard guard(events_lock_);
    events_handle_.reset();
  }
  const std::lock_guard guard(commands_lock_);
  commands_handle_.reset();
}

void push_service_client::on_server_up() {
  // Nothing new from a server whose listener was heard of: it says this too, when it has started.
  if (server_up_.exchange(1) != 0) return;
  refresh_listeners();
}

void push_service_client::refresh_listeners() {
  refresh_events_listener();
  refresh_commands_listener();
}

void push_service_client::refresh_events_listener() {
  const std::string default_app_id = comm::get_default_app_id();
  // Held while the server answers: deliveries wait, and no application comes or goes in between.
  const std::lock_guard guard(events_lock_);
  if (events_handle_ == nullptr && !events_.empty()) initialize_event_handler();
  register_others(events_, default_app_id, comm::send_push_register_events);
}

void push_service_client::refresh_commands_listener() {
  const std::string default_app_id = comm::get_default_app_id();
  const std::lock_guard guard(commands_lock_);
  if (commands_handle_ == nullptr && !commands_.empty()) initialize_command_handler();
  register_others(commands_, default_app_id, comm::send_push_register_commands);
}

// A thread of the bus must not wait for an application, hence the copies and the workers.

void push_service_client::initialize_event_handler() {
  const auto receive = [](const event_info& event, void* context) {
    if (context == nullptr) return;
    auto* const client = static_cast<push_service_client*>(context);
    client->delivery_workers_.Submit(
        "on_event_internal",
        [client, copy = std::make_shared<const event_info>(event)] { client->on_event(*copy); });
  };
  // The sender is left empty, which stands for the product's default.
  events_handle_ = comm::send_push_register_events(receive, this, {}, {});
  if (events_handle_ == nullptr) return;
  LOG_LINE(logging::progress, L"cloud::push::push_service_client::initialize_event_handler")
      << L"registered to push events server";
}

void push_service_client::initialize_command_handler() {
  const auto receive = [](const command_info& command, void* context) {
    if (context == nullptr) return;
    auto* const client = static_cast<push_service_client*>(context);
    client->delivery_workers_.Submit(
        "on_command_internal", [client, copy = std::make_shared<const command_info>(command)] {
          client->on_command(*copy);
        });
  };
  commands_handle_ = comm::send_push_register_commands(receive, this, {}, {});
  if (commands_handle_ == nullptr) return;
  LOG_LINE(logging::progress, L"cloud::push::push_service_client::initialize_command_handler")
      << L"registered to push commands server";
}

}  // namespace cloud::push
