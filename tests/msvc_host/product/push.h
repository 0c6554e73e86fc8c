#pragma once

// Pushes as an application sees them.

#include "product/cloud.h"

namespace cloud::push {

struct event_info {
  text name;
  text params;
  text destination_app_id;
  text destination_device_id;
  int64_t timestamp;
};

struct command_info {
  text destination_app_id;
  text name;
  text id;
  text params;
  int64_t timestamp;
};

using event_callback = void(const event_info& event, void* context);
using command_callback = void(const command_info& command, void* context);

}  // namespace cloud::push

class IPushService {
 public:
  using connect_source = cloud::connect_source;
  using connect_destination = cloud::connect_destination;
  using event_callback = cloud::push::event_callback;
  using command_callback = cloud::push::command_callback;

  virtual uint32_t register_push_events_callback(event_callback* const& callback, void* context,
                                                 const connect_source& source,
                                                 const connect_destination& dest) = 0;
  virtual uint32_t register_push_commands_callback(command_callback* const& callback, void* context,
                                                   const connect_source& source,
                                                   const connect_destination& dest) = 0;
  virtual void unregister_push_events_callback(event_callback* const& callback, void* context,
                                               const connect_source& source,
                                               const connect_destination& dest) = 0;
  virtual void unregister_push_commands_callback(command_callback* const& callback, void* context,
                                                 const connect_source& source,
                                                 const connect_destination& dest) = 0;
  virtual void set_command_done(const cloud::text& id, const cloud::text& status,
                                const connect_source& source, const connect_destination& dest) = 0;
  virtual void send_offline_commands(const connect_source& source,
                                     command_callback* const& callback, void* context) = 0;
};

class IPushCommClient : public IPushService {};
