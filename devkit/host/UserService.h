#pragma once

#include "frame/msgbus/IBus.h"

namespace devkit {

/// Plays the service process that knows the user: announces its listener on the bus for the
/// object's life. Plug-ins in other processes then ask their agents who that is.
class UserService {
 public:
  static constexpr const char* channel = "cl.zvserv.actions";
  static constexpr const char* listener = "product_agent_user_service";

  explicit UserService(IBus& bus) : bus_(bus) { bus_.AddListener(channel, listener); }
  UserService(const UserService&) = delete;
  UserService& operator=(const UserService&) = delete;
  ~UserService() { bus_.RemoveListener(channel, listener); }

 private:
  IBus& bus_;
};

}  // namespace devkit
