#pragma once

#include <cstdint>
#include <string>

#include "cloud/request_records.h"

/// What clients of the push server ask it over the bus.
namespace cloud {

/// The `module` of every message of the push components.
inline constexpr char push_module[] = "push";

/// What an application registers for; any other number comes from a stranger.
namespace push_topic {
inline constexpr std::int32_t events = 0;
inline constexpr std::int32_t commands = 1;
}  // namespace push_topic

struct push_register {
  connect_source source;
  std::int32_t topic = push_topic::events;
  connect_destination dest;
  const char* module = push_module;
};

struct push_unregister {
  connect_source source;
  std::int32_t topic = push_topic::events;
  connect_destination dest;
  const char* module = push_module;
};

struct push_command_done {
  connect_source source;
  connect_destination dest;
  std::string id;
  std::string status;
  const char* module = push_module;
};

}  // namespace cloud
