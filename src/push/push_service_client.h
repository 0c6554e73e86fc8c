#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>

#include "_base/ParallelWorkers.h"
#include "_base/SerialWorker.h"
#include "frame/msgbus/IBus.h"
#include "frame/msgbus/ibus_observer.h"
#include "push/IPushCommClient.h"
#include "push/app_id_table.h"
#include "push/callback_entry.h"
#include "push/comm/receiving.h"

namespace cloud::push {

/// The push service for every process but the server's. Follows the server's coming and going by
/// what it announces on the bus, and registers the applications anew whenever it comes.
///
/// Nobody holds two of the locks. Callbacks run under the lock of their table, on threads of the
/// pool; several may run at once, but no two under one lock. While an application is being
/// registered with the server, all deliveries of that kind wait.
class push_service_client final : public IPushCommClient, public ibus_observer {
 public:
  push_service_client();
  push_service_client(const push_service_client&) = delete;
  push_service_client& operator=(const push_service_client&) = delete;
  ~push_service_client();

  /// Of `source` only the application counts. A callback that is registered twice is called twice.
  std::uint32_t register_push_events_callback(const event_callback& callback, void* context,
                                              const connect_source& source,
                                              const connect_destination& dest) override;
  /// Hands the callback every command of the process that isn't done yet, whichever application it
  /// is for.
  std::uint32_t register_push_commands_callback(const command_callback& callback, void* context,
                                                const connect_source& source,
                                                const connect_destination& dest) override;
  void unregister_push_events_callback(const event_callback& callback, void* context,
                                       const connect_source& source,
                                       const connect_destination& dest) override;
  void unregister_push_commands_callback(const command_callback& callback, void* context,
                                         const connect_source& source,
                                         const connect_destination& dest) override;
  /// Returns at once; a command that isn't known here is passed over.
  void set_command_done(const zv::StringT<char>& id, const zv::StringT<char>& status,
                        const connect_source& source, const connect_destination& dest) override;
  /// Of all applications: `source` doesn't count.
  void send_offline_commands(const connect_source& source, const command_callback& callback,
                             void* context) override;

  /// Registers all applications with the server. Each may take as long as a registration waits.
  void refresh_listeners();

  void* QueryInterface(const IID& id) override;
  void on_new_listener(void* ignored, const char* channel, const char* listener) override;
  void on_listener_removed(void* ignored, const char* channel, const char* listener) override;

 private:
  using event_handle = std::unique_ptr<comm::handle<comm::event_receiver>>;
  using command_handle = std::unique_ptr<comm::handle<comm::command_receiver>>;

  void initialize_bus_observer();
  void start_management();
  void on_server_up();
  /// Gives up what it gets from the server; the applications stay.
  void lose_server();

  /// 0; 1168 for an application that isn't in this process.
  std::uint32_t on_event(const event_info& event);
  std::uint32_t on_command(const command_info& command);
  /// Gives the identifier by which the application is known from now on.
  zv::StringT<char> enlist_for_commands(command_callback callback, void* context,
                                        const zv::StringT<char>& given);
  /// What a callback that has just registered gets, on the worker.
  void replay(const zv::StringT<char>& app_id, const callback_entry<command_callback>& entry);
  /// Under the commands lock.
  void hand_out_pending(const callback_entry<command_callback>& entry);
  void set_command_done_internal(const zv::StringT<char>& id, const zv::StringT<char>& status,
                                 const connect_source& source, const connect_destination& dest);

  void refresh_events_listener();
  void refresh_commands_listener();
  // Under the lock of their table.
  void initialize_event_handler();
  void initialize_command_handler();

  event_handle events_handle_;      ///< guarded by events_lock_
  command_handle commands_handle_;  ///< guarded by commands_lock_
  std::unique_ptr<comm::handle<comm::management_receiver>> management_handle_;
  std::mutex events_lock_;
  std::mutex commands_lock_;
  app_id_table<event_callback> events_;      ///< guarded by events_lock_
  app_id_table<command_callback> commands_;  ///< guarded by commands_lock_
  std::list<command_info> pending_;          ///< delivered, not yet done; guarded by commands_lock_
  std::once_flag management_once_;
  SerialWorker worker_;
  ParallelWorkers
      idle_workers_;  ///< never given any work, and meant so: it starts and ends with the object
  ParallelWorkers delivery_workers_;
  std::atomic<std::uint8_t> server_up_ = 0;
  IBus* bus_ = nullptr;
};

}  // namespace cloud::push
