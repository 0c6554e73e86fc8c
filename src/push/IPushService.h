#pragma once

#include <cstdint>

#include "_base/StringT.h"
#include "_base/abi.h"
#include "cloud/request_records.h"
#include "push/command_info.h"
#include "push/event_info.h"

inline constexpr IID IID_IPushService = {
    0xdef4b7d0, 0xfac5, 0x9b80, {0xd5, 0x44, 0xb6, 0xd3, 0xfd, 0x2b, 0x82, 0x49}};

/// Pushes for the applications of this device. An application is meant by `source.app_id`; an empty
/// one is the product's default. Any thread may call. Callbacks run under a lock: see their types.
class IPushService {
 public:
  using connect_source = cloud::connect_source;
  using connect_destination = cloud::connect_destination;
  using event_callback = cloud::push::event_callback;
  using command_callback = cloud::push::command_callback;

  /// 0 or a Windows error number.
  virtual std::uint32_t register_push_events_callback(const event_callback& callback, void* context,
                                                      const connect_source& source,
                                                      const connect_destination& dest) = 0;
  /// Commands that nobody has completed yet come to `callback` as well.
  virtual std::uint32_t register_push_commands_callback(const command_callback& callback,
                                                        void* context, const connect_source& source,
                                                        const connect_destination& dest) = 0;
  /// Afterwards the callback is no more called with this context, unless the user is unknown.
  virtual void unregister_push_events_callback(const event_callback& callback, void* context,
                                               const connect_source& source,
                                               const connect_destination& dest) = 0;
  virtual void unregister_push_commands_callback(const command_callback& callback, void* context,
                                                 const connect_source& source,
                                                 const connect_destination& dest) = 0;
  /// `id` is the command's, `status` the outcome in the application's own words.
  virtual void set_command_done(const zv::StringT<char>& id, const zv::StringT<char>& status,
                                const connect_source& source, const connect_destination& dest) = 0;
  /// Calls `callback` here and now for each command that is kept. Under the lock of what is kept,
  /// so the callback must not complete a command within this very call.
  virtual void send_offline_commands(const connect_source& source, const command_callback& callback,
                                     void* context) = 0;

 protected:
  ~IPushService() = default;
};
