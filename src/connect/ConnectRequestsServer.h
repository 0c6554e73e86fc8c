#pragma once

#include "connect/IConnectRequests.h"
#include "frame/log_handle.h"
#include "frame/msgbus/IBus.h"
#include "frame/msgbus/IBusMessage.h"
#include "frame/plugin_handle.h"
#include "frame/servplugin.h"
#include "push/comm/bus_subscription.h"

namespace cloud::connect {

/// The plug-in "connect_requests_server": sends the requests of processes that have no cloud client
/// and ask for it on the bus. The source in such a message counts for nothing: requests go out in
/// the name of this process's user.
class ConnectRequestsServer final : public zv::framework::servplugin<false> {
 public:
  ConnectRequestsServer() = default;
  ConnectRequestsServer(const ConnectRequestsServer&) = delete;
  ConnectRequestsServer& operator=(const ConnectRequestsServer&) = delete;
  /// Lets go as UnInit does, if that didn't come: the bus must not find a dead object.
  ~ConnectRequestsServer();

  void* QueryInterface(const IID& id) override;
  /// Not counted: each runs in full. 87 without a host or with one that lacks a service; the status
  /// of the request for the plug-in "connect_integrator"; 31 without bus, channel or subscription;
  /// 14 without memory.
  std::uint32_t Init(IServMain* host) override;
  /// 0. After it no request is under way.
  std::uint32_t UnInit() override;
  void* scalar_deleting_destructor(std::uint32_t flags) override;

 private:
  std::uint32_t init_components();
  bool init_communication();
  void let_go() noexcept;

  /// On a thread of the bus; `context` is the object.
  static void on_message(IBusMessage* message, void* context);
  /// Blocks until the cloud has answered.
  void on_request(IBusMessage& message);

  logging::held_log_handle log_handle;  ///< first, so that all that ends may still log
  IBus* bus = nullptr;
  comm::bus_subscription subscription;
  plugin_handle<IConnectRequests> connect_requests;
};

}  // namespace cloud::connect
