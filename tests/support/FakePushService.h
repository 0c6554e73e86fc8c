#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "push/IPushService.h"

namespace support {

/// One call of a push service. Its texts are copies; those that an operation hasn't are empty.
struct PushCall {
  std::string operation;  ///< the operation's name
  std::string app_id, device_id, user_token;
  std::string dest_app_id, dest_device_id;
  std::string id, status;
  void* context = nullptr;
  cloud::push::event_callback event_callback = nullptr;
  cloud::push::command_callback command_callback = nullptr;
};

/// A push service that records what it is asked and delivers what it is told. Any thread may call.
class FakePushService final : public IPushService {
 public:
  FakePushService() = default;
  FakePushService(const FakePushService&) = delete;
  FakePushService& operator=(const FakePushService&) = delete;
  ~FakePushService() = default;

  /// What the registering operations give from now on.
  void set_result(std::uint32_t result) {
    const std::lock_guard lock(mutex_);
    result_ = result;
  }
  /// What a send_offline_commands hands to its callback, on its thread.
  void set_offline_commands(std::vector<cloud::push::command_info> commands) {
    const std::lock_guard lock(mutex_);
    offline_ = std::move(commands);
  }
  /// Runs within every call from now on, on its thread and without a lock.
  void set_hook(std::function<void(const PushCall&)> hook) {
    const std::lock_guard lock(mutex_);
    hook_ = std::move(hook);
  }

  std::vector<PushCall> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  std::size_t count(const std::string& operation) const {
    std::size_t count = 0;
    for (const PushCall& call : calls()) count += call.operation == operation ? 1 : 0;
    return count;
  }
  void forget_calls() {
    const std::lock_guard lock(mutex_);
    calls_.clear();
  }

  std::uint32_t register_push_events_callback(const event_callback& callback, void* context,
                                              const connect_source& source,
                                              const connect_destination& dest) override {
    return note("register_push_events_callback", callback, nullptr, context, source, dest);
  }
  std::uint32_t register_push_commands_callback(const command_callback& callback, void* context,
                                                const connect_source& source,
                                                const connect_destination& dest) override {
    return note("register_push_commands_callback", nullptr, callback, context, source, dest);
  }
  void unregister_push_events_callback(const event_callback& callback, void* context,
                                       const connect_source& source,
                                       const connect_destination& dest) override {
    note("unregister_push_events_callback", callback, nullptr, context, source, dest);
  }
  void unregister_push_commands_callback(const command_callback& callback, void* context,
                                         const connect_source& source,
                                         const connect_destination& dest) override {
    note("unregister_push_commands_callback", nullptr, callback, context, source, dest);
  }
  void set_command_done(const zv::StringT<char>& id, const zv::StringT<char>& status,
                        const connect_source& source, const connect_destination& dest) override {
    PushCall call = call_of("set_command_done", source, dest);
    call.id = id.c_str();
    call.status = status.c_str();
    add(std::move(call));
  }
  void send_offline_commands(const connect_source& source, const command_callback& callback,
                             void* context) override {
    note("send_offline_commands", nullptr, callback, context, source, {});
    std::vector<cloud::push::command_info> commands;
    {
      const std::lock_guard lock(mutex_);
      commands = offline_;
    }
    for (const auto& command : commands) callback(command, context);
  }

 private:
  static PushCall call_of(const char* operation, const connect_source& source,
                          const connect_destination& dest) {
    PushCall call;
    call.operation = operation;
    call.app_id = source.app_id.c_str();
    call.device_id = source.device_id.c_str();
    call.user_token = source.user_token.c_str();
    call.dest_app_id = dest.app_id.c_str();
    call.dest_device_id = dest.device_id.c_str();
    return call;
  }

  std::uint32_t note(const char* operation, event_callback event, command_callback command,
                     void* context, const connect_source& source, const connect_destination& dest) {
    PushCall call = call_of(operation, source, dest);
    call.event_callback = event;
    call.command_callback = command;
    call.context = context;
    return add(std::move(call));
  }

  std::uint32_t add(PushCall call) {
    std::function<void(const PushCall&)> hook;
    std::uint32_t result = 0;
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back(call);
      hook = hook_;
      result = result_;
    }
    if (hook) hook(call);
    return result;
  }

  mutable std::mutex mutex_;
  std::uint32_t result_ = 0;
  std::vector<cloud::push::command_info> offline_;
  std::function<void(const PushCall&)> hook_;
  std::vector<PushCall> calls_;
};

}  // namespace support
