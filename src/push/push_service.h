#pragma once

#include <atomic>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <string>

#include "_base/SerialWorker.h"
#include "_base/expected.h"
#include "cloud/ICloudConnectionObserver.h"
#include "cloud/cirrel_client.h"
#include "connect/IAuthDataProvider.h"
#include "connect/IConnectRequests.h"
#include "frame/log_handle.h"
#include "push/IPushService.h"
#include "push/callback_entry.h"
#include "push/push_telemetry.h"

namespace cloud::push {

/// The push service beside the cloud client: knows which application wants to hear of what, has the
/// cloud send it, and keeps commands until they are done.
///
/// Lock order: commands lock, then events lock; commands lock, then offline lock. Nobody takes the
/// commands lock while holding another. Callbacks run under the lock of their table.
class push_service final : public IPushService, public ICloudConnectionObserver {
 public:
  /// Asks the provider once who the user is; it isn't used afterwards. None of these is owned. The
  /// requests are used until the end of this object, the client and its instance may go before it.
  push_service(cirrel_client* client, void* instance, IConnectRequests* connect_requests,
               IAuthDataProvider* auth_provider);
  push_service(const push_service&) = delete;
  push_service& operator=(const push_service&) = delete;
  /// Listings that wait are dropped, one that runs is waited for.
  ~push_service();

  /// 13 without an application, device or user; what the client library says if it refuses, and
  /// the application is then without any callback. While the network isn't there, registering with
  /// the cloud waits for it.
  std::uint32_t register_push_events_callback(const event_callback& callback, void* context,
                                              const connect_source& source,
                                              const connect_destination& dest) override;
  std::uint32_t register_push_commands_callback(const command_callback& callback, void* context,
                                                const connect_source& source,
                                                const connect_destination& dest) override;
  void unregister_push_events_callback(const event_callback& callback, void* context,
                                       const connect_source& source,
                                       const connect_destination& dest) override;
  void unregister_push_commands_callback(const command_callback& callback, void* context,
                                         const connect_source& source,
                                         const connect_destination& dest) override;
  /// Tells the cloud of a command that is kept here, and waits for its answer. The command is gone
  /// whatever that is.
  void set_command_done(const zv::StringT<char>& id, const zv::StringT<char>& status,
                        const connect_source& source, const connect_destination& dest) override;
  void send_offline_commands(const connect_source& source, const command_callback& callback,
                             void* context) override;

  /// The user is known now, or another one: registers every application anew.
  void refresh_push_listeners(connect_source identity);

  void* scalar_deleting_destructor(std::uint32_t flags) override;
  /// Only the first call counts. On a thread of the client library.
  void OnNetworkAvailable() override;

  /// What the client library calls with a push; `context` is the service.
  static void push_event(const cirrel_response* response, void* context);

 private:
  template <class Callback>
  using callback_table = std::map<std::string, std::list<callback_entry<Callback>>>;

  /// Whether the cloud has to be told of an application, and for whom.
  struct register_result {
    std::string type;  ///< "event"; empty if there is nothing to tell
    /// Of events the device. Of commands the application, which does no harm: they don't look at
    /// it.
    std::string first_target;
  };

  using reply_handler = void (push_service::*)(const std::string& reply, const std::string& app_id);

  /// `source`, completed by what is known; or 232.
  stdext::expected<connect_source, std::uint32_t> get_auth_data(const connect_source& source);
  register_result register_push_event(const event_callback& callback, void* context,
                                      const connect_source& sender,
                                      const connect_destination& dest);
  register_result register_push_command(const command_callback& callback, void* context,
                                        const connect_source& sender,
                                        const connect_destination& dest);
  std::uint32_t generic_register(const connect_source& sender,
                                 const connect_destination& destination, bool is_command);
  /// As far as the result asks for it, and the network is there.
  std::uint32_t register_with_cloud(const register_result& result, const connect_source& sender,
                                    bool is_command);
  void register_internal_push_event(const connect_source& sender);
  void register_internal_once(const connect_source& sender);

  void deliver(const cirrel_response& response);
  void deliver_command(const std::string& app_id, const command_info& command);
  void deliver_event(const std::string& app_id, const event_info& event);
  void on_internal_event(const event_info& event);

  void get_offline_commands(const std::string& app_id);
  void resolve_request(const char* service, const char* request_method, const std::string& message,
                       const std::string& app_id);
  void list_commands(const std::string& reply, const std::string& app_id);
  /// Keeps a command that has an identifier, unless it is kept already.
  void store(const std::string& app_id, const command_info& command);
  bool remove_command(const zv::StringT<char>& id, const connect_source& sender);

  std::mutex events_lock_;
  std::mutex commands_lock_;
  std::mutex offline_lock_;
  callback_table<event_callback> events_;                   ///< guarded by events_lock_
  callback_table<command_callback> commands_;               ///< guarded by commands_lock_
  std::map<std::string, std::list<command_info>> offline_;  ///< guarded by offline_lock_
  logging::held_log_handle log_handle_;  ///< before all that logs, in its making and in its end
  cirrel_client* const client_;
  void* const instance_;
  IConnectRequests* const connect_requests_;
  push_telemetry telemetry_;
  std::mutex identity_lock_;
  connect_source identity_;  ///< guarded by identity_lock_
  std::atomic<std::uint8_t> network_ready_ = 0;
  std::once_flag internal_event_once_;
  /// Last, so that nothing it may still be running for has ended before it.
  SerialWorker worker_;
};

}  // namespace cloud::push
