#pragma once

#include <cstdint>
#include <string>

/// One remembered failure of a server.
struct request_failure {
  enum kind : std::int32_t { client_status = 0, reply_code = 1, detailed_reply_code = 2 };

  std::string value;       ///< the code in decimal; for a detailed one two codes joined by a point
  std::int32_t field = 0;  ///< which kind of code `value` holds
  std::string method;
};
