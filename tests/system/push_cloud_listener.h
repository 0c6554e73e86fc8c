#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "_base/waiting.h"
#include "system/kit_client.h"

namespace kit_test {

/// Keeps what is pushed to it. It has to outlive the client that it is registered with.
class PushListener {
 public:
  cirrel_push_callbacks callbacks() {
    return {[](const cirrel_response*, void*) {}, &PushListener::on_event, this};
  }

  /// False if it doesn't get so many in time.
  bool hears(std::size_t count) {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, waiting::deadline, [&] { return texts_.size() >= count; });
  }
  std::vector<std::string> texts() {
    const std::lock_guard guard(mutex_);
    return texts_;
  }
  /// The one member of everything it got.
  nlohmann::json fields() {
    nlohmann::json list = nlohmann::json::array();
    for (const std::string& text : texts())
      list.push_back(nlohmann::json::parse(text).at("app_fields"));
    return list;
  }
  /// What happens in each callback, after the text has been kept.
  void then(std::function<void()> action) { action_ = std::move(action); }

 private:
  static void on_event(const cirrel_response* response, void* self) {
    static_cast<PushListener*>(self)->keep({response->text, response->size});
  }
  void keep(std::string text) {
    {
      const std::lock_guard guard(mutex_);
      texts_.push_back(std::move(text));
      changed_.notify_all();
    }
    if (action_) action_();
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::string> texts_;
  std::function<void()> action_;
};

inline std::uint32_t listen(const Client& client, PushListener& listener, const std::string& app_id,
                            const std::string& device_id = "device",
                            const std::string& token = "token") {
  const cirrel_push_source source = {token.c_str(), app_id.c_str(), device_id.c_str()};
  const cirrel_push_destination destination = {app_id.c_str(), device_id.c_str()};
  const cirrel_push_callbacks callbacks = listener.callbacks();
  return client->connect_register(client.instance(), &source, &destination, "event", "secure_web",
                                  &callbacks);
}

}  // namespace kit_test
