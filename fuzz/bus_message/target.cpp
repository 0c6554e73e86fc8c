// Whatever message the bus brings: it is read as the kind that it names, or as none; what was read
// reads the same after it was written; an action gets one reply, with the echo of its sender; and
// nothing of it all stays behind.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "platform/library.h"
#include "push/comm/bus_message.h"
#include "push/comm/parsers.h"
#include "push/comm/receiving.h"
#include "push/comm/serializers.h"
#include "support/FakeBus.h"
#include "support/loadable.h"

namespace {

using cloud::push_command_done;
using cloud::push_register;
using cloud::push_unregister;
using cloud::push::command_info;
using cloud::push::event_info;
using support::BusFields;

constexpr int result = 5;

void require(bool condition) {
  if (!condition) std::abort();
}

/// Up to the first NUL, where a text of the bus ends.
std::string text_of(std::string_view bytes) {
  return std::string(bytes.substr(0, bytes.find('\0')));
}

/// Lines of "key=text" or "key#number"; any other line counts for nothing.
BusFields fields_of(std::string_view bytes) {
  BusFields fields;
  while (!bytes.empty()) {
    const std::string_view line = bytes.substr(0, bytes.find('\n'));
    bytes.remove_prefix(line.size() < bytes.size() ? line.size() + 1 : line.size());
    const std::size_t sign = line.find_first_of("=#");
    if (sign == line.npos) continue;
    const std::string key = text_of(line.substr(0, sign));
    const std::string value = text_of(line.substr(sign + 1));
    if (line[sign] == '=') {
      fields.emplace_back(key, value);
    } else {
      fields.emplace_back(key, std::strtoll(value.c_str(), nullptr, 10));
    }
  }
  return fields;
}

/// The last write of a key decides, and what kind of value it has as well.
const std::string* held_text(const BusFields& fields, std::string_view key) {
  for (auto field = fields.rbegin(); field != fields.rend(); ++field) {
    if (field->key == key) return std::get_if<std::string>(&field->value);
  }
  return nullptr;
}

bool is_named(const BusFields& fields, std::string_view method) {
  const std::string* const module = held_text(fields, "module");
  const std::string* const name = held_text(fields, "method");
  return module != nullptr && *module == "push" && name != nullptr && *name == method;
}

bool holds(const BusFields& fields, const char* key, std::string_view value) {
  const std::string* const held = held_text(fields, key);
  return held != nullptr ? *held == value : value.empty();
}

template <class Addressed>
bool has_sender_of(const Addressed& request, const BusFields& fields) {
  return holds(fields, "source_app_id", request.source.app_id.view()) &&
         holds(fields, "source_device_id", request.source.device_id.view()) &&
         holds(fields, "source_token", request.source.user_token.view()) &&
         holds(fields, "dest_app_id", request.dest.app_id.view()) &&
         holds(fields, "dest_device_id", request.dest.device_id.view());
}

bool is_of(const event_info& event, const BusFields& fields) {
  return holds(fields, "name", event.name.view()) && holds(fields, "params", event.params.view()) &&
         holds(fields, "destination_app_id", event.destination_app_id.view()) &&
         holds(fields, "destination_device_id", event.destination_device_id.view());
}
bool is_of(const command_info& command, const BusFields& fields) {
  return holds(fields, "name", command.name.view()) && holds(fields, "id", command.id.view()) &&
         holds(fields, "params", command.params.view()) &&
         holds(fields, "destination_app_id", command.destination_app_id.view());
}
bool is_of(const push_register& request, const BusFields& fields) {
  return has_sender_of(request, fields);
}
bool is_of(const push_unregister& request, const BusFields& fields) {
  return has_sender_of(request, fields);
}
bool is_of(const push_command_done& request, const BusFields& fields) {
  return has_sender_of(request, fields) && holds(fields, "id", request.id) &&
         holds(fields, "status", request.status);
}

/// What the six callbacks were called with, and what `message` says that they should be.
class Listeners {
 public:
  Listeners()
      : events_(cloud::comm::start_receiving_events(on<const event_info>, this)),
        commands_(cloud::comm::start_receiving_events(on<const command_info>, this)),
        server_(cloud::comm::start_receiving_management_events(on_server_up, this)),
        registers_(cloud::comm::start_receiving_actions(on_action<push_register>, this)),
        unregisters_(cloud::comm::start_receiving_actions(on_action<push_unregister>, this)),
        completions_(cloud::comm::start_receiving_actions(on_action<push_command_done>, this)) {}

  /// How many callbacks a message on `channel` reached.
  int hear(support::FakeBus& bus, const char* channel, const BusFields& fields) {
    fields_ = &fields;
    calls_ = 0;
    reply_ = bus.deliver(channel, fields);
    return calls_;
  }
  const std::optional<BusFields>& reply() const { return reply_; }

 private:
  template <class Record>
  static void on(Record& record, void* context) {
    auto& self = *static_cast<Listeners*>(context);
    ++self.calls_;
    require(is_of(record, *self.fields_));
  }
  static void on_server_up(void* context) { ++static_cast<Listeners*>(context)->calls_; }
  template <class Action>
  static int on_action(Action& request, Action& response, void* context) {
    on(request, context);
    response.source = request.source;
    response.dest = request.dest;
    return result;
  }

  const BusFields* fields_ = nullptr;
  int calls_ = 0;
  std::optional<BusFields> reply_;
  std::unique_ptr<cloud::comm::handle<cloud::comm::event_receiver>> events_;
  std::unique_ptr<cloud::comm::handle<cloud::comm::command_receiver>> commands_;
  std::unique_ptr<cloud::comm::handle<cloud::comm::management_receiver>> server_;
  std::unique_ptr<cloud::comm::handle<cloud::comm::register_receiver>> registers_;
  std::unique_ptr<cloud::comm::handle<cloud::comm::unregister_receiver>> unregisters_;
  std::unique_ptr<cloud::comm::handle<cloud::comm::command_done_receiver>> completions_;
};

cloud::comm::bus_message message_of(support::FakeBus& bus, const BusFields& fields) {
  cloud::comm::bus_message message = cloud::comm::create_message(*bus.bus());
  support::write_fields(*message, fields);
  return message;
}

/// Reads it if it is of this kind, and again from what was written of it.
template <class Record>
void read_twice(support::FakeBus& bus, const BusFields& fields, const char* method) {
  Record record;
  const auto message = message_of(bus, fields);
  const bool is_kind = cloud::comm::parse(*message, record);
  require(is_kind == is_named(fields, method));
  if (!is_kind) return;
  require(is_of(record, fields));

  const auto written = cloud::comm::create_message(*bus.bus());
  cloud::comm::write(*written, std::as_const(record));
  Record again;
  require(cloud::comm::parse(*written, again) && is_of(again, fields));
}

void read(support::FakeBus& bus, const BusFields& fields) {
  read_twice<event_info>(bus, fields, "on_push_event");
  read_twice<command_info>(bus, fields, "on_push_command");
  read_twice<push_register>(bus, fields, "push_register");
  read_twice<push_unregister>(bus, fields, "push_unregister");
  read_twice<push_command_done>(bus, fields, "push_command_done");
  const auto message = message_of(bus, fields);
  require(cloud::comm::is_push_server_up(*message) == is_named(fields, "on_push_server_up"));
}

void receive(support::FakeBus& bus, const BusFields& fields) {
  Listeners listeners;
  const bool is_event = is_named(fields, "on_push_event") || is_named(fields, "on_push_command") ||
                        is_named(fields, "on_push_server_up");
  require(listeners.hear(bus, "connect.events", fields) == (is_event ? 1 : 0));
  require(!listeners.reply());

  const bool is_action = is_named(fields, "push_register") || is_named(fields, "push_unregister") ||
                         is_named(fields, "push_command_done");
  require(listeners.hear(bus, "connect.actions", fields) == (is_action ? 1 : 0));
  require(listeners.reply().has_value() == is_action);
  if (!is_action) return;
  const BusFields& reply = *listeners.reply();
  require(reply.size() == 9 && *support::find_number(reply, "err") == result);
  for (const char* const key : {"method", "source_app_id", "source_device_id", "source_token",
                                "dest_app_id", "dest_device_id"}) {
    const std::string* const asked = held_text(fields, key);
    require(holds(reply, key, asked != nullptr ? *asked : std::string()));
  }
}

/// The fuzzer counts in each library that it ever saw, so the bus's has to stay.
void keep_library() {
  static const platform::module_handle library = [] {
    std::uint32_t error = 0;
    return platform::load_library(support::loadable(L"msgbus").wstring().c_str(), error);
  }();
  require(library != nullptr);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const BusFields fields = fields_of({reinterpret_cast<const char*>(data), size});
  keep_library();
  // Anew each time: it keeps every message that ever was, to find out who uses it late.
  support::FakeBus bus;
  bus.load();
  read(bus, fields);
  receive(bus, fields);
  require(bus.messages_alive() == 0);
  require(bus.take_mistakes().empty());
  return 0;
}
