#include "push/push_service_client.h"

#include <algorithm>
#include <string>
#include <string_view>

#include "_base/win_error.h"
#include "frame/logger_stream.h"
#include "push/comm/sending.h"

namespace cloud::push {

namespace {

using app_text = zv::StringT<char>;

app_text default_app_id() {
  return app_text(std::string_view(comm::get_default_app_id()));
}

app_text effective_app_id(const app_text& given) {
  return given.IsEmpty() ? default_app_id() : given;
}

struct enlisted {
  app_text app_id;
  bool is_new;  ///< and so unknown to the server
};

template <class Callback>
enlisted enlist(app_id_table<Callback>& table, const app_text& given,
                const callback_entry<Callback>& entry, const wchar_t* function) {
  enlisted result{effective_app_id(given), false};
  // Whoever leaves the choice to the product is known already: its identifier goes out together
  // with the subscription.
  if (!given.IsEmpty() && !table.contains(result.app_id)) {
    LOG_LINE(logging::progress, function)
        << L"new app_id " << result.app_id << L" needs to be sent to server";
    result.is_new = true;
  }
  // Without a look for an equal one, which is meant: who asks twice is called twice.
  table[result.app_id].push_back(entry);
  return result;
}

/// True if the application has nobody left; `app_id` is then the identifier it is known by.
template <class Callback>
bool strike_off(app_id_table<Callback>& table, const app_text& given,
                const callback_entry<Callback>& entry, app_text& app_id) {
  app_id = effective_app_id(given);
  const auto found = table.find(app_id);
  if (found == table.end()) return false;
  found->second.remove(entry);
  if (!found->second.empty()) return false;
  // By the identifier as the caller gave it, not as it was found, and this is meant: an emptied
  // entry of the default application stays when it was named by an empty text.
  table.erase(given);
  return true;
}

/// 0; 1168 for an application that nobody here wants to hear of.
template <class Callback, class Info>
std::uint32_t call_all(const app_id_table<Callback>& table, const Info& info) {
  const auto found = table.find(info.destination_app_id);
  if (found == table.end()) return win_error::not_found;
  for (const auto& entry : found->second) entry.callback(info, entry.context);
  return win_error::success;
}

connect_source source_of(const app_text& app_id) {
  return {app_id, {}, {}};
}

}  // namespace

push_service_client::push_service_client() : worker_("push_service_client_worker") {
  initialize_bus_observer();  // last: the bus may call at once
}

push_service_client::~push_service_client() {
  // From the outermost source of calls inwards: what observes the server subscribes anew, and what
  // the subscriptions bring goes to the workers.
  if (bus_ != nullptr) bus_->RemoveObserver(this, 0);
  bus_ = nullptr;
  management_handle_.reset();
  // Before the locks, which a replay may hold for long: what waits behind it is dropped, not done.
  worker_.CancelPending();
  // As if the server had gone: a callback that is still running may register, and must neither meet
  // the handles on their way out nor bring new ones.
  lose_server();
  delivery_workers_.Stop();
  idle_workers_.Stop();
  worker_.CancelPending();
  worker_.Stop();
}

std::uint32_t push_service_client::register_push_events_callback(const event_callback& callback,
                                                                 void* context,
                                                                 const connect_source& source,
                                                                 const connect_destination&) {
  start_management();
  const std::lock_guard guard(events_lock_);
  const enlisted added =
      enlist<event_callback>(events_, source.app_id, {callback, context},
                             L"cloud::push::push_service_client::register_push_events_callback");
  if (server_up_ == 0) return win_error::success;
  if (events_handle_ == nullptr) initialize_event_handler();
  if (added.is_new) {
    comm::send_push_register_events(nullptr, nullptr, source_of(added.app_id), {});
  }
  return win_error::success;
}

std::uint32_t push_service_client::register_push_commands_callback(const command_callback& callback,
                                                                   void* context,
                                                                   const connect_source& source,
                                                                   const connect_destination&) {
  start_management();
  const app_text app_id = enlist_for_commands(callback, context, source.app_id);
  // Without the lock, which the replay takes. Whether the server is there makes no difference.
  worker_.Submit(
      "send_offline_commands",
      [this, app_id, callback, context] {
        replay(app_id, {callback, context});
      },
      [] {});
  return win_error::success;
}

zv::StringT<char> push_service_client::enlist_for_commands(command_callback callback, void* context,
                                                           const zv::StringT<char>& given) {
  const std::lock_guard guard(commands_lock_);
  const enlisted added = enlist<command_callback>(
      commands_, given, {callback, context},
      L"cloud::push::push_service_client::register_push_commands_callback");
  if (server_up_ == 0) return added.app_id;
  if (commands_handle_ == nullptr) initialize_command_handler();
  if (added.is_new) {
    comm::send_push_register_commands(nullptr, nullptr, source_of(added.app_id), {});
  }
  return added.app_id;
}

void push_service_client::unregister_push_events_callback(const event_callback& callback,
                                                          void* context,
                                                          const connect_source& source,
                                                          const connect_destination& dest) {
  const std::lock_guard guard(events_lock_);
  app_text app_id;
  if (!strike_off<event_callback>(events_, source.app_id, {callback, context}, app_id)) return;
  comm::send_push_unregister(push_topic::events, source, dest);
  LOG_LINE(logging::progress, L"cloud::push::push_service_client::unregister_push_events_callback")
      << L"unregistered from push events for app_id " << app_id;
}

void push_service_client::unregister_push_commands_callback(const command_callback& callback,
                                                            void* context,
                                                            const connect_source& source,
                                                            const connect_destination& dest) {
  const std::lock_guard guard(commands_lock_);
  app_text app_id;
  if (!strike_off<command_callback>(commands_, source.app_id, {callback, context}, app_id)) return;
  comm::send_push_unregister(push_topic::commands, source, dest);
  LOG_LINE(logging::progress,
           L"cloud::push::push_service_client::unregister_push_commands_callback")
      << L"unregistered from push commands for app_id " << app_id;
}

void push_service_client::set_command_done(const zv::StringT<char>& id,
                                           const zv::StringT<char>& status,
                                           const connect_source& source,
                                           const connect_destination& dest) {
  worker_.Submit(
      "set_command_done_internal",
      [this, id, status, source, dest] { set_command_done_internal(id, status, source, dest); },
      [] {});
}

void push_service_client::set_command_done_internal(const zv::StringT<char>& id,
                                                    const zv::StringT<char>& status,
                                                    const connect_source& source,
                                                    const connect_destination& dest) {
  const std::lock_guard guard(commands_lock_);
  const auto left_over =
      std::remove_if(pending_.begin(), pending_.end(),
                     [&id](const command_info& command) { return command.id.view() == id.view(); });
  if (left_over == pending_.end()) return;
  comm::send_push_command_done(std::string(id.view()), std::string(status.view()), source, dest);
  // One node and no more, which is meant: of records that share an identifier, stale ones stay.
  pending_.erase(left_over);
}

void push_service_client::send_offline_commands(const connect_source&,
                                                const command_callback& callback, void* context) {
  const std::lock_guard guard(commands_lock_);
  hand_out_pending({callback, context});
}

void push_service_client::replay(const zv::StringT<char>& app_id,
                                 const callback_entry<command_callback>& entry) {
  const std::lock_guard guard(commands_lock_);
  // Whoever has unregistered in the meantime may be gone.
  const auto found = commands_.find(app_id);
  if (found == commands_.end()) return;
  const auto& entries = found->second;
  if (std::find(entries.begin(), entries.end(), entry) != entries.end()) hand_out_pending(entry);
}

void push_service_client::hand_out_pending(const callback_entry<command_callback>& entry) {
  for (const command_info& command : pending_) entry.callback(command, entry.context);
}

std::uint32_t push_service_client::on_event(const event_info& event) {
  const std::lock_guard guard(events_lock_);
  return call_all(events_, event);
}

std::uint32_t push_service_client::on_command(const command_info& command) {
  const std::lock_guard guard(commands_lock_);
  // Kept for whichever application, even if nobody here wants it yet.
  if (std::none_of(pending_.begin(), pending_.end(), [&command](const command_info& kept) {
        return kept.id.view() == command.id.view();
      })) {
    pending_.push_back(command);
  }
  return call_all(commands_, command);
}

void* push_service_client::QueryInterface(const IID& id) {
  if (id == IID_ibus_observer || id == IID_IZvBaseInterface) {
    return static_cast<ibus_observer*>(this);
  }
  return nullptr;
}

}  // namespace cloud::push
