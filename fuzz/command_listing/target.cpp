// The cloud's listing of commands: whatever it is, each command in it that has an identifier is
// kept once, in the name of the application that asked.

#include <condition_variable>
#include <cstdint>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <tuple>

#include "push/push_service.h"

namespace {

using cloud::push::command_info;
using cloud::push::push_service;

constexpr const char* app_id = "app";

void require(bool holds) {
  if (!holds) std::abort();
}

/// Answers every request with the one text.
class Listing final : public IConnectRequests {
 public:
  explicit Listing(std::string_view text) : text_(text) {}

  bool add_observer(cloud::ICloudConnectionObserver*, std::uint64_t) override { return true; }
  bool remove_observer(cloud::ICloudConnectionObserver*, std::uint64_t) override { return true; }
  bool is_cloud_up() override { return true; }
  cloud::request_status* resolve(cloud::request_status* result, const cloud::connect_request&,
                                 cloud::request_reply& reply, bool) override {
    reply.text = zv::StringT<char>(text_);
    *result = {};
    const std::lock_guard guard(mutex_);
    asked_ = true;
    changed_.notify_all();
    return result;
  }

  void wait_until_asked() {
    std::unique_lock guard(mutex_);
    changed_.wait(guard, [this] { return asked_; });
  }

 private:
  const std::string_view text_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool asked_ = false;
};

using key = std::tuple<std::string, std::string>;

void on_command(const command_info& command, void* context) {
  require(command.destination_app_id.view() == app_id);
  require(!command.id.IsEmpty());
  require(command.timestamp == static_cast<std::int32_t>(command.timestamp));
  require(
      static_cast<std::set<key>*>(context)->emplace(command.name.view(), command.id.view()).second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Listing listing({reinterpret_cast<const char*>(data), size});
  cirrel_client client{};
  client.connect_register = [](void*, const cirrel_push_source*, const cirrel_push_destination*,
                               const char*, const char*,
                               const cirrel_push_callbacks*) -> std::uint32_t { return 0; };
  std::set<key> seen;
  {
    push_service service(&client, nullptr, &listing, nullptr);
    service.OnNetworkAvailable();
    cloud::connect_source source;
    source.app_id = app_id;
    source.device_id = "device";
    source.user_token = "token";
    service.register_push_commands_callback(on_command, &seen, source, {});
    listing.wait_until_asked();
  }  // a listing that runs is waited for
  return 0;
}
