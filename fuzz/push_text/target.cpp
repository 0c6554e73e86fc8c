// A push as the client library hands it over: whatever its text is, an application hears only of
// its own, what it hears is JSON, and no command is kept twice.

#include <jansson.h>

#include <cstdint>
#include <cstdlib>
#include <set>
#include <string>
#include <tuple>
#include <vector>

#include "push/push_service.h"

namespace {

using cloud::push::command_info;
using cloud::push::event_info;
using cloud::push::push_service;

constexpr const char* app_id = "app";

void require(bool holds) {
  if (!holds) std::abort();
}

/// JSON, and written as jansson writes it.
void require_json(const zv::StringT<char>& text) {
  if (text.IsEmpty()) return;
  json_t* const value = json_loads(text.c_str(), 0, nullptr);
  require(value != nullptr);
  char* const dumped = json_dumps(value, 0);
  require(dumped != nullptr && text.view() == dumped);
  std::free(dumped);
  json_decref(value);
}

void on_event(const event_info& event, void*) {
  require(event.destination_app_id.view() == app_id);
  require(event.name.view() != "command");
  require_json(event.params);
}

void on_command(const command_info& command, void*) {
  require(command.destination_app_id.view() == app_id);
  require_json(command.params);
}

void on_kept_command(const command_info& command, void* context) {
  using key = std::tuple<std::string, std::string, std::string>;
  auto& seen = *static_cast<std::set<key>*>(context);
  require(!command.id.IsEmpty());
  require(seen.emplace(command.name.view(), command.id.view(), command.destination_app_id.view())
              .second);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  cirrel_client client{};
  push_service service(&client, nullptr, nullptr, nullptr);
  cloud::connect_source source;
  source.app_id = app_id;
  source.device_id = "device";
  source.user_token = "token";
  service.register_push_events_callback(on_event, nullptr, source, {});
  service.register_push_commands_callback(on_command, nullptr, source, {});

  // In a block of exactly its size, so that a read beyond it is seen.
  std::vector<char> text(data, data + size);
  text.shrink_to_fit();
  const cirrel_response response{nullptr, text.data(), text.size()};
  push_service::push_event(&response, &service);
  push_service::push_event(&response, &service);

  std::set<std::tuple<std::string, std::string, std::string>> seen;
  service.send_offline_commands(source, on_kept_command, &seen);
  require(seen.size() <= 1);
  return 0;
}
