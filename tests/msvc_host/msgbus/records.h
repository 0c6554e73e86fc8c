#pragma once

// What the bus stand-in writes down of each call, for the host to read.

#include <stdint.h>

namespace msgbus {

enum class call : uint32_t {
  get_interface,
  get_bus,
  add_listener,
  remove_listener,
  is_listening,
  add_observer,
  remove_observer,
  get_channel,
  subscribe,
  set_callback,
  unsubscribe,
  send,
  send_and_wait,
  set_reply
};

// A message shows as its fields in the order in which they were written, as in
// "module=push topic#0": '=' before a text, '#' before a number, one written twice standing twice.
struct record {
  call kind;
  bool as_told;        // arguments with a single right value had it
  uint32_t timeout;    // of send_and_wait
  void* pointer;       // observer; context of a callback
  char channel[32];    // for get_interface and get_bus empty
  char listener[64];   // of the listener calls
  char message[1024];  // what was sent, or the reply
};

// What an integer field that isn't there reads as.
inline constexpr int64_t absent_number = 77;

// What there is at this moment.
struct census {
  int32_t messages;
  int32_t subscriptions;
  int32_t observers;
  int32_t listeners;
  int32_t undelivered;  // messages and news that are still on their way, or just being heard
  int32_t wrong_calls;  // ever: through slots that nobody uses, or with impossible arguments
};

// What is refused from now on, added up.
enum refusal : uint32_t {
  refuse_nothing = 0,
  refuse_channel = 1,
  refuse_subscription = 2,
  refuse_callback = 4,
  refuse_message = 8,
  refuse_observer = 16
};

// The extra exports.
using count_function = uint32_t();                      // msgbus_record_count
using record_function = const record*(uint32_t index);  // msgbus_record; null past the end
using forget_function = void();                         // msgbus_forget
using census_function = census();                       // msgbus_census
using refuse_function = void(uint32_t refusals);        // msgbus_refuse

}  // namespace msgbus
