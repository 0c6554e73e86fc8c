#pragma once

#include <cstdint>

#include "_base/abi.h"

namespace support {

/// What tests/loadable/msgbus_probe saw, and what it is told to refuse. Its export
/// MsgbusProbeRecord gives the one instance.
struct msgbus_probe_record {
  std::uint32_t door_calls;
  IID door_id;
  std::uint32_t host_calls;
  std::uint64_t host_argument;
  std::uint32_t queries;
  IID bus_id;
  std::uint32_t wrong_calls;  ///< of operations that nobody may call
  bool refuses_door;
  bool refuses_host_call;
  bool refuses_query;
  char the_bus;  ///< its address is the bus
};

}  // namespace support
