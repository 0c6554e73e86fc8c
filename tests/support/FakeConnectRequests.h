#pragma once

#include <algorithm>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "connect/IConnectRequests.h"

namespace support {

/// A request as it came.
struct ConnectAsk {
  cloud::connect_request request;
  bool fill_source;
  std::uint64_t reply_capacity;  ///< of the text the caller brought
  std::int32_t reply_code;       ///< the same of the code
};

/// Answers requests as it is told, and records them. At first with the status 0, 0 and the reply
/// "{}". Any thread may call; no lock is held while it calls out.
class FakeConnectRequests final : public IConnectRequests {
 public:
  using Answer = std::function<cloud::request_status(const cloud::connect_request& request,
                                                     cloud::request_reply& reply)>;
  using Observer = std::pair<cloud::ICloudConnectionObserver*, std::uint64_t>;

  FakeConnectRequests() { answer("{}"); }
  FakeConnectRequests(const FakeConnectRequests&) = delete;
  FakeConnectRequests& operator=(const FakeConnectRequests&) = delete;
  ~FakeConnectRequests() = default;

  /// A reply, perhaps with an error of the server.
  void answer(std::string text, std::int32_t code = 0) {
    answer_by([text = std::move(text), code](const auto&, cloud::request_reply& reply) {
      reply.text = text.c_str();
      reply.code = code;
      return cloud::request_status{};
    });
  }
  /// A status without a reply.
  void fail(cloud::request_status status) {
    answer_by([status](const auto&, auto&) { return status; });
  }
  /// Called on the thread that asks, which it may hold up.
  void answer_by(Answer function) {
    const std::lock_guard lock(mutex_);
    answer_ = std::move(function);
  }
  void set_cloud_up(bool is_up) {
    const std::lock_guard lock(mutex_);
    cloud_up_ = is_up;
  }
  /// Tells all observers, on this thread.
  void tell_network_available() {
    for (const auto& [observer, context] : observers()) observer->OnNetworkAvailable();
  }

  std::vector<ConnectAsk> asks() const {
    const std::lock_guard lock(mutex_);
    return asks_;
  }
  void forget_asks() {
    const std::lock_guard lock(mutex_);
    asks_.clear();
  }
  std::vector<Observer> observers() const {
    const std::lock_guard lock(mutex_);
    return observers_;
  }

  bool add_observer(cloud::ICloudConnectionObserver* observer, std::uint64_t context) override {
    const std::lock_guard lock(mutex_);
    observers_.emplace_back(observer, context);
    return true;
  }
  bool remove_observer(cloud::ICloudConnectionObserver* observer, std::uint64_t context) override {
    const std::lock_guard lock(mutex_);
    return std::erase(observers_, Observer(observer, context)) != 0;
  }

  using IConnectRequests::resolve;
  cloud::request_status* resolve(cloud::request_status* result,
                                 const cloud::connect_request& request, cloud::request_reply& reply,
                                 bool fill_source) override {
    Answer answer;
    {
      const std::lock_guard lock(mutex_);
      asks_.push_back({request, fill_source, reply.text.Capacity(), reply.code});
      answer = answer_;
    }
    *result = answer(request, reply);
    return result;
  }
  bool is_cloud_up() override {
    const std::lock_guard lock(mutex_);
    return cloud_up_;
  }

 private:
  mutable std::mutex mutex_;
  Answer answer_;
  bool cloud_up_ = false;
  std::vector<ConnectAsk> asks_;
  std::vector<Observer> observers_;
};

}  // namespace support
