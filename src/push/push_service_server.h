#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

#include "frame/log_handle.h"
#include "frame/msgbus/IBus.h"
#include "frame/msgbus/ibus_observer.h"
#include "frame/plugin_handle.h"
#include "frame/servplugin.h"
#include "push/IPushService.h"
#include "push/comm/receiving.h"

/// The plug-in "push_service_server": takes the registrations of clients in other processes to the
/// push service and publishes what it delivers. It counts how many clients want the same, and the
/// service hears only of the first and of the last. The counts may stay too high: nobody counts
/// down clients that die, nor those that register anew while this object lives.
class push_service_server final : public zv::framework::servplugin<false>, public ibus_observer {
 public:
  push_service_server() = default;
  push_service_server(const push_service_server&) = delete;
  push_service_server& operator=(const push_service_server&) = delete;
  /// Takes down what no UnInit has.
  ~push_service_server();

  void* QueryInterface(const IID& id) override;
  /// Not counted. 87 without a host or with one that lacks a service; the status of the request for
  /// the plug-in "connect_integrator"; 14 without memory. A server that can't listen is loaded all
  /// the same.
  std::uint32_t Init(IServMain* host) override;
  std::uint32_t UnInit() override;
  void* scalar_deleting_destructor(std::uint32_t flags) override;

  void on_new_listener(void* ignored, const char* channel, const char* listener) override;
  void on_listener_removed(void*, const char*, const char*) override {}

 private:
  using connect_source = cloud::connect_source;
  using connect_destination = cloud::connect_destination;
  using topic_handler = std::uint32_t (push_service_server::*)(const connect_source& source,
                                                               const connect_destination& dest);

  std::uint32_t build(IServMain* host);
  std::uint32_t init_communication_cbks();

  // On threads of the bus; `context` is the object.
  static int on_push_register(cloud::push_register& request, cloud::push_register& response,
                              void* context);
  static int on_push_unregister(cloud::push_unregister& request, cloud::push_unregister& response,
                                void* context);
  static int on_push_command_done(cloud::push_command_done& request,
                                  cloud::push_command_done& response, void* context);
  // Where the cloud client delivers, under a lock of the push service.
  static void forward_event(const cloud::push::event_info& event, void* context);
  static void forward_command(const cloud::push::command_info& command, void* context);

  /// Null for a topic that nobody knows.
  static topic_handler handler_of(std::int32_t topic);
  std::uint32_t register_for_events(const connect_source& source, const connect_destination& dest);
  std::uint32_t register_for_commands(const connect_source& source,
                                      const connect_destination& dest);

  /// Asks and counts in one, so that of two first registrations only one goes to the service.
  bool is_app_id_registered_for_topic(const std::string& app_id, std::int32_t topic);
  /// Counts down; true if that was the last one. `scope` is the caller's name, for the log.
  bool should_unregister_app_id_from_topic(std::string app_id, std::int32_t topic,
                                           const wchar_t* scope);

  logging::held_log_handle log_handle;  ///< first, so that all that ends may still log
  plugin_handle<IPushService> push_service;
  std::unique_ptr<cloud::comm::handle<cloud::comm::register_receiver>> register_handle;
  std::unique_ptr<cloud::comm::handle<cloud::comm::unregister_receiver>> unregister_handle;
  std::unique_ptr<cloud::comm::handle<cloud::comm::command_done_receiver>> command_done_handle;
  std::mutex registrations_lock;  ///< never held while the service is called
  /// By application and topic; only counts above 0. Guarded by registrations_lock.
  std::map<std::pair<std::string, std::int32_t>, std::uint32_t> registrations;
  IBus* bus = nullptr;
};
