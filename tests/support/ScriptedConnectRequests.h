#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "_base/waiting.h"
#include "connect/IConnectRequests.h"

namespace support {

/// One resolve, as it arrived.
struct ResolvedRequest {
  std::string service;
  std::uint32_t timeout;
  cloud::request_type type;
  std::string method;
  std::string app_id;
  std::string device_id;
  std::string user_token;
  std::string destination_app_id;
  std::string destination_device_id;
  std::string message;
  bool fill_source;
  std::string reply_text;  ///< what the caller's reply held before
  std::int32_t reply_code;
  std::thread::id thread;
};

/// What a resolve gives. The reply is filled as it says, whatever the status is.
struct ScriptedReply {
  cloud::request_status status;
  std::string text;
  std::int32_t code = 0;
};

/// The front door of requests as a test scripts it. Any thread may call.
class ScriptedConnectRequests final : public IConnectRequests {
 public:
  using IConnectRequests::resolve;

  /// From now on; an empty listing at first.
  void answer(ScriptedReply reply) {
    const std::lock_guard lock(mutex_);
    answer_ = std::move(reply);
  }
  void answer(std::string text) { answer({{0, 0}, std::move(text), 0}); }
  /// Before that, each once, in order.
  void answer_next(ScriptedReply reply) {
    const std::lock_guard lock(mutex_);
    next_.push_back(std::move(reply));
  }
  void answer_next(std::string text) { answer_next({{0, 0}, std::move(text), 0}); }
  /// Runs within every resolve, after it was recorded and before it answers; may block.
  void while_resolving(std::function<void(const ResolvedRequest&)> hook) {
    const std::lock_guard lock(mutex_);
    hook_ = std::move(hook);
  }

  std::vector<ResolvedRequest> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }
  std::size_t count() const {
    const std::lock_guard lock(mutex_);
    return requests_.size();
  }
  /// False if that many don't arrive in time.
  bool wait_for(std::size_t arrived) const {
    return waiting::until([&] { return count() >= arrived; });
  }

  bool add_observer(cloud::ICloudConnectionObserver*, std::uint64_t) override { return true; }
  bool remove_observer(cloud::ICloudConnectionObserver*, std::uint64_t) override { return true; }
  cloud::request_status* resolve(cloud::request_status* result,
                                 const cloud::connect_request& request, cloud::request_reply& reply,
                                 bool fill_source) override {
    const ResolvedRequest seen{request.service.c_str(),
                               request.timeout,
                               request.type,
                               request.request_method.c_str(),
                               request.source.app_id.c_str(),
                               request.source.device_id.c_str(),
                               request.source.user_token.c_str(),
                               request.destination.app_id.c_str(),
                               request.destination.device_id.c_str(),
                               request.message.c_str(),
                               fill_source,
                               reply.text.c_str(),
                               reply.code,
                               std::this_thread::get_id()};
    ScriptedReply scripted;
    std::function<void(const ResolvedRequest&)> hook;
    {
      const std::lock_guard lock(mutex_);
      requests_.push_back(seen);
      scripted = answer_;
      if (!next_.empty()) {
        scripted = next_.front();
        next_.pop_front();
      }
      hook = hook_;
    }
    if (hook) hook(seen);
    reply.text = scripted.text.c_str();
    reply.code = scripted.code;
    *result = scripted.status;
    return result;
  }
  bool is_cloud_up() override { return true; }

 private:
  mutable std::mutex mutex_;
  ScriptedReply answer_{{0, 0}, "[]", 0};
  std::deque<ScriptedReply> next_;
  std::function<void(const ResolvedRequest&)> hook_;
  std::vector<ResolvedRequest> requests_;
};

}  // namespace support
