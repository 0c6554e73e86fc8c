#pragma once

#include "devkit/host/Host.h"

namespace devkit {

/// What the command line says to scripts.
namespace exit_code {
inline constexpr int ok = 0;
inline constexpr int usage = 1;           ///< wrong arguments
inline constexpr int request_failed = 2;  ///< and nothing more special is known
inline constexpr int server_error = 3;    ///< the server answered with an error
inline constexpr int timed_out = 4;
inline constexpr int no_cloud = 5;      ///< nothing answers at the cloud's address
inline constexpr int cannot_start = 6;  ///< the module, a library, a port or a file is missing
inline constexpr int no_broker = 7;     ///< nothing answers at the broker's address
inline constexpr int nobody_there = 8;  ///< who was asked for isn't on the bus
}  // namespace exit_code

inline constexpr const char* exit_codes_help =
    "Exit codes: 0 ok, 1 wrong arguments, 2 the request failed (or a step of the tour), 3 the "
    "server answered with an error,\n4 timed out, 5 no cloud answers, 6 something on this machine "
    "is missing (module, library, port, file),\n7 no broker answers, 8 nobody there on the bus.";

inline int exit_code_of(const Outcome& outcome) {
  if (outcome.is_timeout()) return exit_code::timed_out;
  if (outcome.is_unreachable()) return exit_code::no_cloud;
  if (!outcome.is_ok()) return exit_code::request_failed;
  return outcome.server_error != 0 ? exit_code::server_error : exit_code::ok;
}

}  // namespace devkit
